#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

namespace QVFoundation {

/// A path as a parameter: takes a `std::filesystem::path` or text of any kind, and copies neither.
///
/// Paths are bytes: the system forbids only zero, and a slash in names. A path is as long as it likes; the
/// functions that take one are not bound by `PATH_MAX`.
///
/// Threads: as a plain value.
/// Ownership: borrows its text, so it is no member of anything.
class PathView {
public:
  PathView(const std::filesystem::path& path) noexcept : text_(path.native()) {}
  PathView(const std::string& path) noexcept : text_(path) {}
  PathView(std::string_view path) noexcept : text_(path) {}
  PathView(const char* path) noexcept : text_(path) {}
  PathView(std::nullptr_t) = delete;

  [[nodiscard]] std::string_view text() const noexcept { return text_; }
  [[nodiscard]] bool empty() const noexcept { return text_.empty(); }
  operator std::string_view() const noexcept { return text_; }

private:
  std::string_view text_;
};

}  // namespace QVFoundation
