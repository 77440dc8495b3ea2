#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace QVFoundation::detail {

/// What a compiled time zone file says (RFC 8536).
///
/// Threads: a value.
struct ZoneFile {
  struct Clock {
    std::chrono::seconds offset{};  ///< ahead of GMT
    bool isDaylight = false;
    std::string abbreviation;
  };
  struct Change {
    std::chrono::sys_seconds when;
    std::size_t clock = 0;  ///< an index into `clocks`
  };

  std::vector<Clock> clocks;
  std::vector<Change> changes;  ///< In the order of time. The first says what was at the beginning.
  std::string rule;             ///< for the time after the last change; empty where there is none

  /// Nothing where the content is damaged.
  [[nodiscard]] static std::optional<ZoneFile> read(std::span<const std::byte> content);
};

}  // namespace QVFoundation::detail
