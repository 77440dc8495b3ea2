#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation {

namespace detail {
class LocalTimeOffsets;
}  // namespace detail

/// Writes the local time of log lines, as in "2026-03-05 14:07:09.123": in ASCII digits and the Gregorian
/// calendar whatever the locale, so that lines can be sorted and searched.
///
/// The time zone is the one that the process had when the formatter was made, for instants from two years
/// before that until eight years after it. For others the C library is asked again, and it answers in the
/// zone that the process has by then.
///
/// Threads: any; no lock is taken.
/// Ownership: a value; copies share the time zone.
class QV_EXPORT TimestampFormatter {
public:
  TimestampFormatter();

  /// Appends the time, its fraction cut to milliseconds. Years have four digits, or as many as they need.
  void append(std::string& out, std::chrono::system_clock::time_point when) const { out += text(when); }

  /// The same, lent until the thread asks any formatter again.
  [[nodiscard]] std::string_view text(std::chrono::system_clock::time_point when) const;

private:
  std::shared_ptr<const detail::LocalTimeOffsets> offsets_;
};

}  // namespace QVFoundation
