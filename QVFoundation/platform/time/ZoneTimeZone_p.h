#pragma once

#include <cstdint>

#include <unicode/timezone.h>

#include "QVFoundation/platform/time/NSTimeZone.h"

namespace QVFoundation::detail {

/// Lends one of our time zones to ICU, whose own tables change only with its versions. The names of zones in
/// the user's language stay ICU's.
///
/// Threads: any; it does not change.
class ZoneTimeZone final : public icu::TimeZone {
public:
  explicit ZoneTimeZone(const NSTimeZone& zone);

  void getOffset(UDate date, UBool local, std::int32_t& rawOffset, std::int32_t& dstOffset,
                 UErrorCode& status) const override;
  std::int32_t getOffset(std::uint8_t era, std::int32_t year, std::int32_t month, std::int32_t day,
                         std::uint8_t dayOfWeek, std::int32_t millis, UErrorCode& status) const override;
  std::int32_t getOffset(std::uint8_t era, std::int32_t year, std::int32_t month, std::int32_t day,
                         std::uint8_t dayOfWeek, std::int32_t millis, std::int32_t monthLength,
                         UErrorCode& status) const override;
  void setRawOffset(std::int32_t offset) override;
  [[nodiscard]] std::int32_t getRawOffset() const override;
  [[nodiscard]] UBool useDaylightTime() const override;
  UBool inDaylightTime(UDate date, UErrorCode& status) const override;
  [[nodiscard]] UBool hasSameRules(const icu::TimeZone& other) const override;
  [[nodiscard]] ZoneTimeZone* clone() const override;
  [[nodiscard]] UClassID getDynamicClassID() const override;

private:
  NSTimeZone zone_;
};

}  // namespace QVFoundation::detail
