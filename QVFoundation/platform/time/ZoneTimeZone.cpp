#include <algorithm>
#include <chrono>
#include <cmath>

#include "QVFoundation/platform/time/ZoneHistory_p.h"
#include "QVFoundation/platform/time/ZoneTimeZone_p.h"

namespace QVFoundation::detail {

namespace {

using namespace std::chrono;

/// Seconds since 1970, cut to some 17,000 years around it.
seconds secondsOfDate(UDate date) {
  constexpr double most = 1LL << 39;
  return seconds(static_cast<std::int64_t>(std::clamp(std::floor(date / 1000), -most, most)));
}

std::int32_t inMilliseconds(seconds duration) {
  return static_cast<std::int32_t>(milliseconds(duration).count());
}

}  // namespace

ZoneTimeZone::ZoneTimeZone(const NSTimeZone& zone)
    : icu::TimeZone(icu::UnicodeString::fromUTF8(zone.name())), zone_(zone) {}

void ZoneTimeZone::getOffset(UDate date, UBool local, std::int32_t& rawOffset, std::int32_t& dstOffset,
                             UErrorCode& status) const {
  if (U_FAILURE(status)) return;
  const ZoneHistory& history = historyOf(zone_);
  const seconds time = secondsOfDate(date);
  const ZonePeriod& period =
      local != 0 ? history.atLocal(local_seconds(time)) : history.at(sys_seconds(time));
  rawOffset = inMilliseconds(period.offset - period.saving);
  dstOffset = inMilliseconds(period.saving);
}

std::int32_t ZoneTimeZone::getOffset(std::uint8_t era, std::int32_t year, std::int32_t month,
                                     std::int32_t day, std::uint8_t /*dayOfWeek*/, std::int32_t millis,
                                     UErrorCode& status) const {
  if (U_FAILURE(status)) return 0;
  const bool isBeforeChrist = era == 0;
  const std::chrono::year signedYear(isBeforeChrist ? 1 - year : year);
  const local_days date(signedYear / (month + 1) / day);
  return inMilliseconds(historyOf(zone_).atLocal(date + floor<seconds>(milliseconds(millis))).offset);
}

std::int32_t ZoneTimeZone::getOffset(std::uint8_t era, std::int32_t year, std::int32_t month,
                                     std::int32_t day, std::uint8_t dayOfWeek, std::int32_t millis,
                                     std::int32_t /*monthLength*/, UErrorCode& status) const {
  return getOffset(era, year, month, day, dayOfWeek, millis, status);
}

void ZoneTimeZone::setRawOffset(std::int32_t /*offset*/) {}  // a zone is what it is

std::int32_t ZoneTimeZone::getRawOffset() const {
  const NSDate now = NSDate::clock::now();
  return inMilliseconds(zone_.secondsFromGMTForDate(now) - zone_.daylightSavingTimeOffsetForDate(now));
}

UBool ZoneTimeZone::useDaylightTime() const {
  const NSDate now = NSDate::clock::now();
  return static_cast<UBool>(zone_.isDaylightSavingTimeForDate(now) ||
                            zone_.isDaylightSavingTimeForDate(now + days(182)));
}

UBool ZoneTimeZone::inDaylightTime(UDate date, UErrorCode& status) const {
  std::int32_t rawOffset = 0;
  std::int32_t dstOffset = 0;
  getOffset(date, 0, rawOffset, dstOffset, status);
  return static_cast<UBool>(dstOffset != 0);
}

UBool ZoneTimeZone::hasSameRules(const icu::TimeZone& other) const {
  const auto* const zone = dynamic_cast<const ZoneTimeZone*>(&other);
  return static_cast<UBool>(zone != nullptr && zone->zone_ == zone_);
}

ZoneTimeZone* ZoneTimeZone::clone() const { return new ZoneTimeZone(*this); }

UClassID ZoneTimeZone::getDynamicClassID() const {
  static char identity = 0;  // only its address counts
  return &identity;
}

}  // namespace QVFoundation::detail
