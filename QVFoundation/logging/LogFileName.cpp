#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <ctime>

#include "QVFoundation/logging/LogFileName_p.h"
#include "QVFoundation/platform/text/Unicode.h"
#include "QVFoundation/platform/time/LocalTime_p.h"

namespace QVFoundation::detail {

namespace {

constexpr std::string_view extension = ".log";
constexpr std::string_view timePattern = "dddd-dd-dd-dddddd-";  // "2024-03-05-140709-"

std::string timeStamp(std::int64_t seconds) {
  const std::optional<std::tm> date = localTime(seconds);
  if (!date) return {};
  std::array<char, 64> text{};
  return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d-%H%M%S-", &*date)};
}

bool matchesTimePattern(std::string_view text) noexcept {
  return std::ranges::equal(text, timePattern, [](char c, char expected) {
    return expected == 'd' ? c >= '0' && c <= '9' : c == expected;
  });
}

/// The number whose digits stand there.
int numberAt(std::string_view text, std::size_t position, std::size_t length) {
  int number = 0;
  for (const char digit : text.substr(position, length)) number = 10 * number + (digit - '0');
  return number;
}

}  // namespace

std::string logFileName(std::string_view name, std::int64_t seconds) {
  constexpr std::size_t leastUnitsToCut = 255;
  constexpr std::size_t unitsLeft = 250;
  std::string fileName = timeStamp(seconds).append(name).append(extension);
  std::ranges::replace(fileName, '/', ':');
  if (utf16UnitCount(fileName) >= leastUnitsToCut) {
    fileName = std::string(prefixOfUTF16Units(fileName, unitsLeft)).append(extension);
  }
  if (fileName.size() > NAME_MAX) {
    fileName = std::string(prefixOfBytes(fileName, NAME_MAX - extension.size())).append(extension);
  }
  return fileName;
}

bool isLogFileName(std::string_view fileName) noexcept {
  return fileName.size() >= timePattern.size() + extension.size() && fileName.ends_with(extension) &&
         matchesTimePattern(fileName.substr(0, timePattern.size()));
}

std::optional<LogFileName> parseLogFileName(std::string_view fileName, std::int64_t about) {
  if (!isLogFileName(fileName)) return {};
  std::tm date{};
  date.tm_year = numberAt(fileName, 0, 4) - 1900;
  date.tm_mon = numberAt(fileName, 5, 2) - 1;
  date.tm_mday = numberAt(fileName, 8, 2);
  date.tm_hour = numberAt(fileName, 11, 2);
  date.tm_min = numberAt(fileName, 13, 2);
  date.tm_sec = numberAt(fileName, 15, 2);
  const std::string_view stamp = fileName.substr(0, timePattern.size());
  std::optional<std::int64_t> found;
  for (const int isSummerTime : {0, 1}) {
    date.tm_isdst = isSummerTime;
    const std::int64_t seconds = secondsOfLocalTime(date);
    if (timeStamp(seconds) != stamp) continue;
    if (!found || std::abs(seconds - about) < std::abs(*found - about)) found = seconds;
  }
  if (!found) return {};
  const std::size_t length = fileName.size() - stamp.size() - extension.size();
  return LogFileName{.name = std::string(fileName.substr(stamp.size(), length)), .seconds = *found};
}

}  // namespace QVFoundation::detail
