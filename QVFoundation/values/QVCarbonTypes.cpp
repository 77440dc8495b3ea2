#include "QVFoundation/values/QVCarbonTypes.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>

#include "QVFoundation/platform/concurrency/UnfairLock.h"
#include "QVFoundation/platform/formatters/NSDateFormatter.h"
#include "QVFoundation/platform/text/MacOSRoman.h"
#include "QVFoundation/platform/text/NSLocale.h"
#include "QVFoundation/platform/text/Unicode.h"

namespace QVFoundation {

namespace {

using namespace std::chrono;

constexpr auto daylightSaving = hours(1);  // also where a zone saves half an hour or two

struct CarbonDateSettings {
  UnfairLock lock;
  std::optional<NSTimeZone> epochTimeZone QV_GUARDED_BY(lock);
  bool adjustsForDaylightSavings QV_GUARDED_BY(lock) = false;
};

CarbonDateSettings& carbonDateSettings() {
  // Never destroyed: threads may convert dates while the process ends.
  static auto& settings = *new CarbonDateSettings();
  return settings;
}

/// The zone of the epoch, which is GMT from now on where none was set.
NSTimeZone settledEpochTimeZone() {
  CarbonDateSettings& settings = carbonDateSettings();
  const UnfairLockGuard guard(settings.lock);
  if (!settings.epochTimeZone) settings.epochTimeZone = NSTimeZone::GMT();
  return *settings.epochTimeZone;
}

NSDate makeCarbonEpoch() {
  NSDateFormatter formatter;
  formatter.setLocale(NSLocale::system());
  formatter.setTimeZone(settledEpochTimeZone());
  formatter.setDateFormat("yyyy-MM-dd HH:mm:ss");
  formatter.setLenient(true);  // in a zone whose clocks skipped that midnight too
  return formatter.dateFromString("1904-01-01 00:00:00").value();
}

/// Whether a date is to be adjusted for daylight saving.
bool isAdjusted(NSDate date) {
  CarbonDateSettings& settings = carbonDateSettings();
  const UnfairLockGuard guard(settings.lock);
  return settings.adjustsForDaylightSavings && settings.epochTimeZone &&
         settings.epochTimeZone->isDaylightSavingTimeForDate(date);
}

}  // namespace

NSNumber numberWithOSType(OSType code) { return std::int64_t{code}; }

OSType typeValue(const NSNumber& number) {
  if (const auto wide = number.exactly<std::uint64_t>()) return static_cast<OSType>(*wide);
  return static_cast<OSType>(number.integerValue());
}

std::string stringWithOSType(OSType code) {
  std::array<std::byte, 4> bytes{};
  for (std::byte& byte : bytes) {
    byte = static_cast<std::byte>(code >> 24U);
    code <<= 8U;
  }
  return stringFromMacOSRoman(bytes);
}

OSType typeValue(std::string_view string) {
  auto bytes = macOSRomanFromString(string).value_or(NSData());
  bytes.resize(4);  // missing bytes are zero
  OSType code = 0;
  for (const std::byte byte : bytes) code = code << 8U | std::to_integer<OSType>(byte);
  return code;
}

std::string stringWithPString(std::span<const unsigned char> pascalString) {
  if (pascalString.empty()) return {};
  const auto characters = pascalString.subspan(1);
  return stringFromMacOSRoman(
      std::as_bytes(characters.first(std::min<std::size_t>(pascalString[0], characters.size()))));
}

void getPString(std::string_view string, unsigned char* buffer) {
  // One byte short for every text, since the length takes one too.
  getPascalString(string, std::span(buffer, utf16UnitCount(string)));
}

NSDate carbonEpoch() {
  static const NSDate epoch = makeCarbonEpoch();
  return epoch;
}

void setCarbonEpochTimeZone(const NSTimeZone& zone, bool adjustForDaylightSavings) {
  CarbonDateSettings& settings = carbonDateSettings();
  const UnfairLockGuard guard(settings.lock);
  settings.epochTimeZone = zone;
  settings.adjustsForDaylightSavings = adjustForDaylightSavings;
}

// In seconds, since nanoseconds do not last from 1904 to the last date.
NSDate dateWithSecondsSince1904(std::uint64_t count) {
  const auto epoch = floor<seconds>(carbonEpoch());
  const auto most = static_cast<std::uint64_t>((floor<seconds>(NSDate::max()) - epoch).count());
  const NSDate date =
      count > most ? NSDate::max() : NSDate(epoch + seconds(static_cast<std::int64_t>(count)));
  return isAdjusted(date) ? date - daylightSaving : date;
}

std::uint64_t secondsSince1904(NSDate date) {
  const seconds since = std::max(floor<seconds>(date) - floor<seconds>(carbonEpoch()), seconds(0));
  return static_cast<std::uint64_t>((isAdjusted(date) ? since + daylightSaving : since).count());
}

}  // namespace QVFoundation
