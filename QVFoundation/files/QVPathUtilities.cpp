#include "QVFoundation/files/QVPathUtilities.h"

#include <cstddef>
#include <string_view>

#include "QVFoundation/platform/files/PathComponentReader_p.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/text/Unicode.h"

namespace QVFoundation {

namespace {

/// Whether a path begins with all of another one, up to a boundary between components.
bool beginsWithWholeComponents(std::string_view path, std::string_view beginning) {
  if (!path.starts_with(beginning)) return false;
  return beginning.empty() || beginning.ends_with('/') || path.size() == beginning.size() ||
         path[beginning.size()] == '/';
}

/// Whether the components of a path begin with those of another one, but for a slash at its end.
bool componentsBeginWith(std::string_view path, std::string_view beginning) {
  detail::PathComponentReader ours(path);
  detail::PathComponentReader theirs(beginning);
  for (;;) {
    const std::string_view component = theirs.next();
    if (component.empty() || (component == "/" && theirs.isAtEnd())) return true;
    if (ours.next() != component) return false;
  }
}

/// How many bytes the first `count` characters of a text take; nothing where it has fewer. A character that
/// takes two units is kept whole.
std::optional<std::size_t> byteLength(std::string_view text, std::size_t count) {
  if (count > utf16UnitCount(text)) return {};
  return prefixOfUTF16Units(text, count).size();
}

}  // namespace

std::string qv_stringByPrependingPathComponent(PathView path, PathView component) {
  return stringByAppendingPathComponent(component, path);
}

std::string qv_stringByAppendingStringBeforePathExtension(PathView path, std::string_view text) {
  const std::string extension = pathExtension(path);
  if (extension.empty()) return std::string(path.text()) += text;
  return ((stringByDeletingPathExtension(path) += text) += '.') += extension;
}

bool qv_containsPath(PathView path, PathView other) {
  // A path that begins with all the bytes of another one also has as many characters as it.
  if (beginsWithWholeComponents(other, path)) return true;
  return componentsBeginWith(other, path) && utf16UnitCount(path) <= utf16UnitCount(other);
}

std::optional<std::string> qv_relativePathForBasePath(PathView path, PathView basePath) {
  const std::string_view text = path;
  const std::string_view base = basePath;
  if (base.empty()) throw NSException(NSRangeException, "a path cannot be relative to an empty one");
  if (!qv_containsPath(base, text)) return {};
  const std::size_t slash = base.ends_with('/') ? 0 : 1;
  const std::size_t bytes = base.size() + slash;
  const auto start =
      text.starts_with(base) ? std::optional(bytes) : byteLength(text, utf16UnitCount(base) + slash);
  // That there is nothing after a path itself is no empty answer but an exception, as intended.
  if (!start || *start > text.size())
    throw NSException(NSRangeException,
                      "nothing is left of \"" + std::string(text) + "\" after \"" + std::string(base) + "\"");
  return std::string(text.substr(*start));
}

bool qv_isPathInTrash(PathView path) {
  detail::PathComponentReader reader(path);
  while (!reader.isAtEnd()) {
    const std::string_view component = reader.next();
    if (component == ".Trash" || component == ".Trashes") return true;
  }
  return false;
}

}  // namespace QVFoundation
