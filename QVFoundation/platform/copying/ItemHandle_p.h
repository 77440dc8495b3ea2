#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <sys/stat.h>

namespace QVFoundation::detail {

/// An item as one of the calls takes it: an open file or folder, or a name in an open folder, which is never
/// followed if it is a link. Both are borrowed.
///
/// Threads: a plain value.
/// Errors: each call returns -1 and sets `errno`.
class ItemHandle {
public:
  explicit ItemHandle(int descriptor) noexcept : descriptor_(descriptor) {}
  ItemHandle(int folder, const char* name);

  [[nodiscard]] int status(struct stat& status) const noexcept;
  [[nodiscard]] int changeOwner(uid_t owner, gid_t group) const noexcept;
  [[nodiscard]] int changeMode(mode_t mode) const noexcept;
  [[nodiscard]] int setTimes(const timespec* times) const noexcept;

  [[nodiscard]] ssize_t listAttributes(std::span<char> list) const noexcept;
  [[nodiscard]] ssize_t getAttribute(const char* name, std::span<std::byte> value) const noexcept;
  [[nodiscard]] int setAttribute(const char* name, std::span<const std::byte> value) const noexcept;
  [[nodiscard]] int removeAttribute(const char* name) const noexcept;

private:
  [[nodiscard]] bool isOpen() const noexcept { return descriptor_ >= 0; }

  int descriptor_ = -1;
  int folder_ = -1;
  const char* name_ = nullptr;
  std::string path_;  // for calls that take no folder
};

}  // namespace QVFoundation::detail
