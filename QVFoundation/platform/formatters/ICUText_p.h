#pragma once

#include <cstdint>
#include <new>
#include <string>
#include <string_view>

#include <unicode/locid.h>
#include <unicode/unistr.h>

/// Texts and names on their way to ICU and back.
///
/// Threads: functions without state.
namespace QVFoundation::detail {

/// For calls that can lack nothing but memory, since unknown locales and letters of patterns have fallbacks.
inline void checkStatus(UErrorCode status) {
  if (U_FAILURE(status)) throw std::bad_alloc();
}

[[nodiscard]] inline std::string utf8(const icu::UnicodeString& text) {
  std::string result;
  text.toUTF8String(result);
  return result;
}

[[nodiscard]] inline icu::UnicodeString utf16(std::string_view text) {
  return icu::UnicodeString::fromUTF8({text.data(), static_cast<std::int32_t>(text.size())});
}

/// By the name that `NSLocale` has for it. Of one that is not known the nearest is taken.
[[nodiscard]] inline icu::Locale icuLocale(const std::string& name) {
  return icu::Locale::createCanonical(name.c_str());
}

/// More bytes are no date and no number; ICU counts in 32 bits.
inline constexpr std::size_t mostBytesOfICUText = 1UL << 16U;

}  // namespace QVFoundation::detail
