#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Value.h"

namespace QVFoundation {

class NSTimeZone;

namespace detail {
struct TimeZoneRecord;
class ZoneHistory;
const ZoneHistory& historyOf(const NSTimeZone& zone) noexcept;
}  // namespace detail

/// How far the clocks of a region are ahead of GMT, and when they are changed.
///
/// ```cpp
/// const auto vienna = NSTimeZone::timeZoneWithName("Europe/Vienna");
/// if (vienna) std::cout << vienna->secondsFromGMTForDate(NSDate::clock::now()) / 1h << " hours ahead\n";
/// ```
///
/// Zones come from the computer's own time zone files below /usr/share/zoneinfo, which the distribution keeps
/// up to date; "GMT" and "UTC" are there without them.
///
/// Threads: a value; everything here from any thread. As everywhere, no thread may change the environment
/// while another one reads it.
class QV_EXPORT NSTimeZone {
public:
  /// The zone of a name such as "Europe/Vienna", "UTC" or "GMT+0530", read from its file each time. Nothing
  /// where there is none.
  [[nodiscard]] static std::optional<NSTimeZone> timeZoneWithName(std::string_view name);
  /// A zone without daylight saving, named after its offset, as "GMT+0530". The offset is rounded to minutes.
  /// Nothing beyond 18 hours.
  [[nodiscard]] static std::optional<NSTimeZone> timeZoneForSecondsFromGMT(std::chrono::seconds offset);
  [[nodiscard]] static NSTimeZone GMT();

  /// What the variable TZ says, else the computer's setting, else GMT; looked up once.
  [[nodiscard]] static NSTimeZone systemTimeZone();
  /// Has the system's time zone looked up again.
  static void resetSystemTimeZone();
  /// The one that this process uses where nothing else is said: the system's unless another one was set.
  [[nodiscard]] static NSTimeZone defaultTimeZone();
  /// Nothing makes it the system's again.
  static void setDefaultTimeZone(std::optional<NSTimeZone> zone);
  /// The default one.
  [[nodiscard]] static NSTimeZone localTimeZone() { return defaultTimeZone(); }

  /// The zone that one of the operations above gives, by its name: "systemTimeZone", "defaultTimeZone" or
  /// "localTimeZone". So a name that comes from a file runs one of these, or nothing.
  [[nodiscard]] static std::optional<NSTimeZone> timeZoneWithSelector(std::string_view name);

  [[nodiscard]] const std::string& name() const noexcept;

  /// How far the clocks are ahead at that instant, daylight saving included; negative west of Greenwich.
  [[nodiscard]] std::chrono::seconds secondsFromGMTForDate(NSDate date) const noexcept;
  /// Whether they are ahead of the zone's standard time.
  [[nodiscard]] bool isDaylightSavingTimeForDate(NSDate date) const noexcept;
  /// How far they are ahead of it; zero where they are not.
  [[nodiscard]] std::chrono::seconds daylightSavingTimeOffsetForDate(NSDate date) const noexcept;
  /// Such as "CET", or "+03" where there is no name.
  [[nodiscard]] std::string abbreviationForDate(NSDate date) const;

  /// By name.
  friend bool operator==(const NSTimeZone& a, const NSTimeZone& b) noexcept { return a.name() == b.name(); }

private:
  friend const detail::ZoneHistory& detail::historyOf(const NSTimeZone& zone) noexcept;

  explicit NSTimeZone(std::shared_ptr<const detail::TimeZoneRecord> record) noexcept;
  static NSTimeZone make(std::string name, detail::ZoneHistory history);
  static std::optional<NSTimeZone> fromFile(std::string_view name, std::string_view path);
  static std::optional<NSTimeZone> fromEnvironment();
  static NSTimeZone readSystemTimeZone();

  std::shared_ptr<const detail::TimeZoneRecord> record_;
};

template <>
struct ValueTraits<NSTimeZone> {
  static Value toValue(const NSTimeZone& zone) { return Value::boxed(zone); }
  static std::optional<NSTimeZone> fromValue(const Value& value) {
    const auto* const zone = value.boxedContent<NSTimeZone>();
    return zone != nullptr ? std::optional(*zone) : std::nullopt;
  }
};

}  // namespace QVFoundation
