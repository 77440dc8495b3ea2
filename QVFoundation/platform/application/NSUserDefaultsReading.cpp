#include "QVFoundation/platform/application/NSUserDefaults.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace QVFoundation {

namespace {

constexpr std::string_view blanks = " \t\r\n";

/// From its first character that is no blank, without a plus sign.
std::string_view startOfNumber(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
  if (text.starts_with('+')) text.remove_prefix(1);
  return text;
}

double numberAtStart(const std::string& text) {
  const std::string_view digits = startOfNumber(text);
  double number = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return std::isfinite(number) ? number : 0;
}

std::int64_t integerAtStart(const std::string& text) {
  const std::string_view digits = startOfNumber(text);
  std::int64_t number = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (result.ec != std::errc::result_out_of_range) return number;
  using Limits = std::numeric_limits<std::int64_t>;
  return digits.starts_with('-') ? Limits::min() : Limits::max();
}

bool saysYes(std::string text) {
  for (char& letter : text) letter = letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + 32) : letter;
  return text == "yes" || text == "true" || numberAtStart(text) != 0;
}

}  // namespace

std::string NSUserDefaults::value(std::string_view key, std::string_view defaultValue) const {
  auto setting = objectForKey(key).as<std::string>();
  return setting ? *std::move(setting) : std::string(defaultValue);
}

std::optional<NSNumber> NSUserDefaults::numberInRange(std::string_view key, NSNumber least,
                                                      NSNumber most) const {
  const auto setting = numberForKey(key);
  if (!setting || std::isnan(setting->doubleValue())) return {};
  return std::clamp(*setting, least, most);
}

bool NSUserDefaults::boolForKey(std::string_view key) const {
  const Value setting = objectForKey(key);
  if (setting.text() != nullptr) return saysYes(*setting.text());
  return setting.number() != nullptr && setting.number()->boolValue();
}

std::int64_t NSUserDefaults::integerForKey(std::string_view key) const {
  const Value setting = objectForKey(key);
  if (setting.text() != nullptr) return integerAtStart(*setting.text());
  return setting.number() != nullptr ? setting.number()->integerValue() : 0;
}

double NSUserDefaults::doubleForKey(std::string_view key) const {
  const Value setting = objectForKey(key);
  if (setting.text() != nullptr) return numberAtStart(*setting.text());
  return setting.number() != nullptr ? setting.number()->doubleValue() : 0;
}

std::optional<std::string> NSUserDefaults::stringForKey(std::string_view key) const {
  const Value setting = objectForKey(key);
  if (setting.number() != nullptr) return setting.number()->description();
  return setting.as<std::string>();
}

std::optional<Array> NSUserDefaults::arrayForKey(std::string_view key) const {
  return objectForKey(key).as<Array>();
}

std::optional<std::vector<std::string>> NSUserDefaults::stringArrayForKey(std::string_view key) const {
  return objectForKey(key).as<std::vector<std::string>>();
}

std::optional<Dictionary> NSUserDefaults::dictionaryForKey(std::string_view key) const {
  return objectForKey(key).as<Dictionary>();
}

std::optional<NSData> NSUserDefaults::dataForKey(std::string_view key) const {
  return objectForKey(key).as<NSData>();
}

std::optional<NSDate> NSUserDefaults::dateForKey(std::string_view key) const {
  return objectForKey(key).as<NSDate>();
}

}  // namespace QVFoundation
