#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <string_view>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation::detail {

/// The text of one timestamp, "2026-03-05 14:07:09.123", in place.
///
/// Threads: as a plain value.
class TimestampText {
public:
  /// Writes all but the milliseconds, for which it leaves room. Any count of seconds has a date, in any year.
  QV_TEST_EXPORT void setSecond(std::chrono::local_seconds second) noexcept;

  /// From 0 to 999; only after `setSecond`.
  void setMilliseconds(unsigned milliseconds) noexcept { putDigits(size_ - 3, 3, milliseconds); }

  [[nodiscard]] std::string_view text() const noexcept { return {text_.data(), size_}; }

private:
  // Counts of seconds of 64 bits reach years of twelve digits.
  static constexpr std::size_t maximumSize = std::string_view("-292277026596-12-04 15:30:08.000").size();

  void put(char c) noexcept { text_[size_++] = c; }
  void putNumber(std::size_t width, unsigned long long number) noexcept;
  void putDigits(std::size_t start, std::size_t width, unsigned long long number) noexcept {
    for (std::size_t i = start + width; i > start; number /= 10)
      text_[--i] = static_cast<char>('0' + number % 10);
  }

  std::array<char, maximumSize> text_{};
  std::size_t size_ = 0;
};

}  // namespace QVFoundation::detail
