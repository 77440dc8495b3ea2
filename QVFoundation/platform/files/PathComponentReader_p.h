#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace QVFoundation::detail {

/// A path without the slashes at its end; "/" where it has nothing else.
///
/// Threads: a function without state.
[[nodiscard]] inline std::string_view withoutFinalSlashes(std::string_view path) noexcept {
  const std::size_t last = path.find_last_not_of('/');
  return path.substr(0, last == std::string_view::npos ? 1 : last + 1);
}

/// Walks over the components of a path, as `pathComponents` gives them, and copies none.
///
/// Threads: as a plain value.
/// Ownership: borrows the path.
class PathComponentReader {
public:
  explicit PathComponentReader(std::string_view path) noexcept : rest_(path) {}

  /// The next component; empty after the last one, which no component is.
  std::string_view next() noexcept {
    if (rest_.starts_with('/')) {  // what is left is the whole path, or the slashes at its end
      const std::string_view slash = rest_.substr(0, 1);
      skipSlashes();
      return slash;
    }
    const std::string_view name = rest_.substr(0, rest_.find('/'));
    rest_.remove_prefix(name.size());
    const std::size_t following = rest_.find_first_not_of('/');
    if (following != std::string_view::npos) rest_.remove_prefix(following);
    return name;
  }

  [[nodiscard]] bool isAtEnd() const noexcept { return rest_.empty(); }

private:
  void skipSlashes() noexcept { rest_.remove_prefix(std::min(rest_.find_first_not_of('/'), rest_.size())); }

  std::string_view rest_;
};

}  // namespace QVFoundation::detail
