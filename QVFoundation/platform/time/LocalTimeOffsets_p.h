#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation::detail {

/// How far the local time was ahead of UTC, and will be: the answers of the C library for the years around
/// one instant, asked for once. So later changes of the process's time zone do not matter, and nobody waits
/// for the C library's lock.
///
/// Threads: any; it does not change.
class QV_TEST_EXPORT LocalTimeOffsets {
public:
  /// Of the time zone that the process has at this moment, from two years before `now` until eight years
  /// after it.
  explicit LocalTimeOffsets(std::chrono::sys_seconds now);

  /// Outside of those years the C library is asked again.
  [[nodiscard]] std::chrono::seconds at(std::chrono::sys_seconds when) const noexcept;

  /// Unlike an address, never used again in this process.
  [[nodiscard]] std::uint64_t identifier() const noexcept { return identifier_; }

private:
  struct Period {
    std::chrono::sys_seconds begin;
    std::chrono::seconds offset;
  };

  const std::uint64_t identifier_;
  const std::chrono::sys_seconds end_;
  std::vector<Period> periods_;  // in the order of time, the last until end_
};

}  // namespace QVFoundation::detail
