#include "QVFoundation/platform/concurrency/UnfairLock.h"
#include "QVFoundation/platform/time/LocalTime_p.h"

namespace QVFoundation::detail {

namespace {

// The C library has a lock of its own around its zone, but none that sanitizers know of.
constinit UnfairLock timeZoneLock;

}  // namespace

void refreshTimeZone() noexcept {
  const UnfairLockGuard guard(timeZoneLock);
  tzset();
}

std::optional<std::tm> localTime(std::int64_t seconds) noexcept {
  refreshTimeZone();
  const std::time_t time = seconds;
  std::tm date{};
  if (localtime_r(&time, &date) == nullptr) return {};
  return date;
}

std::int64_t secondsOfLocalTime(std::tm date) noexcept {
  const UnfairLockGuard guard(timeZoneLock);
  return std::mktime(&date);
}

}  // namespace QVFoundation::detail
