#include "QVFoundation/platform/text/NSScanner.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <system_error>

#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/text/Format.h"
#include "QVFoundation/platform/text/Unicode.h"

namespace QVFoundation {

/// Where the characters end that are in the set, or that are not in it.
std::size_t NSScanner::endOfRun(std::size_t start, const NSCharacterSet& set, bool isIn) const {
  std::size_t end = start;
  while (end < text_.size()) {
    const auto byte = static_cast<unsigned char>(text_[end]);
    if (byte < 0x80) {
      if (set.contains(byte) != isIn) break;
      ++end;
    } else {
      const DecodedCodePoint decoded = decodeUTF8(text_.substr(end));
      if (set.contains(decoded.codePoint) != isIn) break;
      end += decoded.length;
    }
  }
  return end;
}

std::optional<std::string_view> NSScanner::take(std::size_t start, std::size_t end) {
  if (start == end) return {};
  location_ = end;
  return text_.substr(start, end - start);
}

template <class Integer>
std::optional<Integer> NSScanner::scanNumber() {
  const char* first = text_.data() + tokenStart();
  const char* const last = text_.data() + text_.size();
  const bool isNegative = first != last && *first == '-';
  if (first != last && *first == '+' && last - first > 1 && first[1] != '-') ++first;
  Integer number = 0;
  const auto [end, error] = std::from_chars(first, last, number);
  if (error == std::errc::invalid_argument) return {};
  location_ = static_cast<std::size_t>(end - text_.data());
  if (error == std::errc()) return number;
  return isNegative ? std::numeric_limits<Integer>::min() : std::numeric_limits<Integer>::max();
}

std::optional<std::int32_t> NSScanner::scanInt() { return scanNumber<std::int32_t>(); }

std::optional<std::int64_t> NSScanner::scanInteger() { return scanNumber<std::int64_t>(); }

bool NSScanner::scanString(std::string_view text) {
  const std::size_t start = tokenStart();
  if (text.empty() || !text_.substr(start).starts_with(text)) return false;
  location_ = start + text.size();
  return true;
}

std::optional<std::string_view> NSScanner::scanCharactersFromSet(const NSCharacterSet& set) {
  const std::size_t start = tokenStart();
  return take(start, endOfRun(start, set, true));
}

std::optional<std::string_view> NSScanner::scanUpToCharactersFromSet(const NSCharacterSet& set) {
  const std::size_t start = tokenStart();
  return take(start, endOfRun(start, set, false));
}

std::optional<std::string_view> NSScanner::scanUpToString(std::string_view text) {
  const std::size_t start = tokenStart();
  return take(start, std::min(text_.find(text, start), text_.size()));
}

void NSScanner::setScanLocation(std::size_t location) {
  if (location > text_.size()) {
    throw NSException(NSRangeException, stringWithFormat("Location %zu lies behind the %zu bytes of the text",
                                                         location, text_.size()));
  }
  location_ = location;
}

}  // namespace QVFoundation
