#include <algorithm>
#include <array>
#include <climits>
#include <ctime>

#include "QVFoundation/logging/LogFileName_p.h"
#include "QVFoundation/platform/text/LocalTime_p.h"
#include "QVFoundation/platform/text/Unicode.h"

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

bool matchesTimePattern(std::string_view text) {
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

std::optional<LogFileName> parseLogFileName(std::string_view fileName) {
  const std::size_t least = timePattern.size() + extension.size();
  if (fileName.size() < least || !fileName.ends_with(extension)) return {};
  if (!matchesTimePattern(fileName.substr(0, timePattern.size()))) return {};
  std::tm date{};
  date.tm_year = numberAt(fileName, 0, 4) - 1900;
  date.tm_mon = numberAt(fileName, 5, 2) - 1;
  date.tm_mday = numberAt(fileName, 8, 2);
  date.tm_hour = numberAt(fileName, 11, 2);
  date.tm_min = numberAt(fileName, 13, 2);
  date.tm_sec = numberAt(fileName, 15, 2);
  return LogFileName{
      .name = std::string(fileName.substr(timePattern.size(), fileName.size() - least)),
      .seconds = secondsOfLocalTime(date),
  };
}

}  // namespace QVFoundation::detail
