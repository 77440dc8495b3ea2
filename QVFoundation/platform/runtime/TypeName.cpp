#include "QVFoundation/platform/runtime/TypeName.h"

#include <cstdlib>
#include <cxxabi.h>
#include <memory>
#include <string_view>

namespace QVFoundation {

namespace {

/// Where the last component of a name begins, not counting "::" inside of template arguments or parentheses.
std::size_t startOfLastComponent(std::string_view name) {
  int depth = 0;
  for (std::size_t i = name.size(); i > 1; --i) {
    const char c = name[i - 1];
    if (c == '>' || c == ')') ++depth;
    if (c == '<' || c == '(') --depth;
    if (depth == 0 && c == ':' && name[i - 2] == ':') return i;
  }
  return 0;
}

std::string demangled(const char* name) {
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> text(abi::__cxa_demangle(name, nullptr, nullptr, &status),
                                                         &std::free);
  return status == 0 && text ? text.get() : name;
}

}  // namespace

// Without the prefix of a mangled function, "f" would be the type `float`.
std::string demangledSymbol(const char* symbol) {
  return std::string_view(symbol).starts_with("_Z") ? demangled(symbol) : symbol;
}

std::string typeName(const std::type_info& type) {
  std::string name = demangled(type.name());
  constexpr std::string_view wrapper = "std::_Nested_exception<";
  if (name.starts_with(wrapper)) {
    name = name.substr(wrapper.size(), name.rfind('>') - wrapper.size());
    if (name.ends_with(' ')) name.pop_back();  // that keeps two closing brackets apart
    if (name.ends_with(" const")) name.resize(name.size() - std::string_view(" const").size());
  }
  return name;
}

std::string unqualifiedTypeName(const std::type_info& type) {
  std::string name = typeName(type);
  name.erase(0, startOfLastComponent(name));
  if (const auto arguments = name.find('<'); arguments != std::string::npos && arguments > 0)
    name.resize(arguments);
  return name;
}

std::string dottedTypeName(const std::type_info& type) {
  const std::string name = typeName(type);
  std::string dotted;
  std::string_view rest = name;
  for (auto colons = rest.find("::"); colons != std::string_view::npos; colons = rest.find("::")) {
    dotted.append(rest.substr(0, colons)).push_back('.');
    rest.remove_prefix(colons + 2);
  }
  return dotted.append(rest);
}

}  // namespace QVFoundation
