#include "QVFoundation/platform/serialization/StringTable.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "fuzz/Require.h"

using namespace QVFoundation;
using fuzzing::require;

namespace {

std::string quoted(const std::string& text) {
  std::string out = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out + '"';
}

std::string written(const Dictionary& table) {
  std::string out = "\xEF\xBB\xBF";
  for (const auto& [key, text] : table) out += quoted(*key.text()) + '=' + quoted(*text.text()) + ";\n";
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    const Dictionary table = stringTableFromData(std::as_bytes(std::span(data, size)));
    const std::string copy = written(table);
    require(stringTableFromData(std::as_bytes(std::span(copy))) == table);
  } catch (const NSError& error) {
    require(error.code() == NSPropertyListReadCorruptError && !error.localizedDescription().empty());
  }
  return 0;
}
