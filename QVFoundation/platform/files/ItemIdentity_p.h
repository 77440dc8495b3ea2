#pragma once

#include <cstdint>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace QVFoundation::detail {

/// What tells an item from all others that there are at the same time.
///
/// Threads: a plain value.
struct ItemIdentity {
  std::uint64_t device = 0;
  std::uint64_t number = 0;
  friend bool operator==(const ItemIdentity&, const ItemIdentity&) = default;

  /// Of a status that was asked for `STATX_INO`.
  static ItemIdentity of(const struct statx& status) noexcept {
    return {.device = makedev(status.stx_dev_major, status.stx_dev_minor), .number = status.stx_ino};
  }
  static ItemIdentity of(const struct stat& status) noexcept {
    return {.device = status.st_dev, .number = status.st_ino};
  }
};

}  // namespace QVFoundation::detail
