#include "QVFoundation/platform/files/PathComponents.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "QVFoundation/platform/files/PathComponentReader_p.h"

namespace QVFoundation {

namespace {

using detail::withoutFinalSlashes;

constexpr std::size_t usualDepth = 12;

/// Where the last component of a path begins that has no slash at its end.
std::size_t startOfLastComponent(std::string_view path) {
  return path == "/" ? 0 : path.rfind('/') + 1;  // 0 where there is no slash
}

/// Where a path without a slash at its end has the dot of its extension; its length where it has none.
std::size_t extensionDot(std::string_view path) {
  const std::size_t dot = path.rfind('.');
  const bool isDot =
      dot != std::string_view::npos && dot > startOfLastComponent(path) && dot + 1 < path.size();
  return isDot ? dot : path.size();
}

}  // namespace

std::vector<std::string> pathComponents(PathView path) {
  std::vector<std::string> components;
  if (!path.empty()) components.reserve(usualDepth);  // growing would take as long as all the rest
  for (detail::PathComponentReader reader(path); !reader.isAtEnd();) components.emplace_back(reader.next());
  return components;
}

std::string stringByAppendingPathComponent(PathView path, PathView component) {
  const std::string_view folder = withoutFinalSlashes(path);
  std::string_view name = withoutFinalSlashes(component);
  if (folder.empty()) return std::string(name);
  name.remove_prefix(std::min(name.find_first_not_of('/'), name.size()));
  std::string joined;
  joined.reserve(folder.size() + 1 + name.size());
  joined = folder;
  if (folder != "/" && !name.empty()) joined += '/';
  return joined += name;
}

std::string lastPathComponent(PathView path) {
  const std::string_view text = withoutFinalSlashes(path);
  return std::string(text.substr(startOfLastComponent(text)));
}

std::string pathExtension(PathView path) {
  const std::string_view text = withoutFinalSlashes(path);
  const std::size_t dot = extensionDot(text);
  return std::string(dot == text.size() ? std::string_view() : text.substr(dot + 1));
}

std::string stringByDeletingPathExtension(PathView path) {
  const std::string_view text = withoutFinalSlashes(path);
  return std::string(text.substr(0, extensionDot(text)));
}

std::string stringByDeletingLastPathComponent(PathView path) {
  const std::string_view text = withoutFinalSlashes(path);
  return std::string(withoutFinalSlashes(text.substr(0, text == "/" ? 1 : startOfLastComponent(text))));
}

}  // namespace QVFoundation
