#pragma once

#include <concepts>
#include <initializer_list>
#include <optional>
#include <ranges>
#include <string>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/PathComponents.h"
#include "QVFoundation/platform/files/PathView.h"

/// More of what can be done with paths as text: putting many components together, and seeing what lies below
/// what.
///
/// ```cpp
/// qv_stringByAppendingPathComponents("/media", artist, album);       // "/media/Bach/Partitas"
/// qv_containsPath("/media", "/media/Bach");                          // true
/// qv_relativePathForBasePath("/media/Bach/Partitas", "/media");      // "Bach/Partitas"
/// ```
///
/// Components are those of `pathComponents` and are compared byte by byte: "A" is not "a", and ".." leads
/// nowhere.
///
/// Threads: functions without state; call them from any thread.
/// Errors: see `qv_relativePathForBasePath`; the others have none.
namespace QVFoundation {

namespace detail {

template <class Range>
concept PathComponentRange =
    std::ranges::input_range<Range> && std::convertible_to<std::ranges::range_reference_t<Range>, PathView> &&
    !std::convertible_to<Range, PathView>;

}  // namespace detail

/// "/" and a component for each that is not "/"; "/" where there are none. So it is always absolute: "a", "b"
/// give "/a/b", and so do "/", "a", "b".
template <detail::PathComponentRange Range>
[[nodiscard]] std::string qv_stringWithPathComponents(Range&& components) {
  std::string path;
  for (auto&& component : components) {
    const std::string_view text = PathView(component);
    if (text != "/") (path += '/') += text;
  }
  return path.empty() ? "/" : path;
}
[[nodiscard]] inline std::string qv_stringWithPathComponents(std::initializer_list<PathView> components) {
  return qv_stringWithPathComponents<const std::initializer_list<PathView>&>(components);
}

/// The component with the path appended to it.
[[nodiscard]] QV_EXPORT std::string qv_stringByPrependingPathComponent(PathView path, PathView component);

/// "archive.tar 2.gz" for "archive.tar.gz" and " 2"; without an extension, the text goes to the end.
[[nodiscard]] QV_EXPORT std::string qv_stringByAppendingStringBeforePathExtension(PathView path,
                                                                                  std::string_view text);

/// The path with one component after the other appended by `stringByAppendingPathComponent`; as it is where
/// there are none.
template <detail::PathComponentRange Range>
[[nodiscard]] std::string qv_stringByAppendingPathComponents(PathView path, Range&& components) {
  std::string joined(path.text());
  for (auto&& component : components) joined = stringByAppendingPathComponent(joined, component);
  return joined;
}
[[nodiscard]] inline std::string qv_stringByAppendingPathComponents(
    PathView path, std::initializer_list<PathView> components) {
  return qv_stringByAppendingPathComponents<const std::initializer_list<PathView>&>(path, components);
}
template <std::convertible_to<PathView>... Components>
[[nodiscard]] std::string qv_stringByAppendingPathComponents(PathView path, const Components&... components) {
  return qv_stringByAppendingPathComponents(path, std::initializer_list<PathView>{components...});
}

/// Whether `other` is the path itself or lies below it. Slashes at the end do not count, but a path with more
/// characters than the other never contains it: "/a/" does not contain "/a". "/" contains all that is not
/// empty, and the empty path everything.
[[nodiscard]] QV_EXPORT bool qv_containsPath(PathView path, PathView other);

/// What is left of the path after the base and the slash that follows it; nothing where the base does not
/// contain the path. What is left is counted in characters: as many as the base has are taken away.
///
/// Raises `NSRangeException` for an empty base, and where fewer characters are left than there are to take
/// away: so for a base that is the path itself and has no slash at its end.
[[nodiscard]] QV_EXPORT std::optional<std::string> qv_relativePathForBasePath(PathView path,
                                                                              PathView basePath);

/// Whether a component is ".Trash" or ".Trashes".
[[nodiscard]] QV_EXPORT bool qv_isPathInTrash(PathView path);

}  // namespace QVFoundation
