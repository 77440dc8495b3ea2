#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "QVFoundation/collections/SortKeys_p.h"

namespace QVFoundation::detail {

namespace {

/// A number whose order among its like is that of the key it stands for; nothing where the key is of another
/// sort.
using NumericKey = std::optional<std::int64_t> (*)(const Value&);

std::optional<std::int64_t> integerKey(const Value& key) {
  const NSNumber* number = key.number();
  return number != nullptr && !number->isFloatingPoint() ? number->exactly<std::int64_t>() : std::nullopt;
}

std::optional<std::int64_t> floatingKey(const Value& key) {
  const NSNumber* number = key.number();
  if (number == nullptr || !number->isFloatingPoint()) return {};
  const double floating = number->doubleValue();
  if (std::isnan(floating)) return std::numeric_limits<std::int64_t>::min();
  // The patterns of doubles ascend with their magnitude, so negative ones are turned around. Adding zero
  // makes one zero of both.
  const auto pattern = std::bit_cast<std::int64_t>(floating + 0.0);
  return pattern < 0 ? pattern ^ std::numeric_limits<std::int64_t>::max() : pattern;
}

std::optional<std::int64_t> dateKey(const Value& key) {
  return key.date() != nullptr ? std::optional(key.date()->time_since_epoch().count()) : std::nullopt;
}

std::optional<std::vector<std::int64_t>> numericKeys(const std::vector<Value>& keys, NumericKey numericKey) {
  std::vector<std::int64_t> numbers;
  numbers.reserve(keys.size());
  for (const Value& key : keys) {
    const auto number = numericKey(key);
    if (!number) return {};
    numbers.push_back(*number);
  }
  return numbers;
}

}  // namespace

TextKey::TextKey(const std::string& its) noexcept : text(&its) {
  std::array<unsigned char, sizeof(beginning)> bytes{};
  std::memcpy(bytes.data(), its.data(), std::min(its.size(), bytes.size()));
  for (const unsigned char byte : bytes) beginning = beginning << 8 | byte;
}

std::optional<std::vector<std::int64_t>> numericKeys(const std::vector<Value>& keys) {
  for (const NumericKey numericKey : {integerKey, floatingKey, dateKey}) {
    if (auto numbers = numericKeys(keys, numericKey)) return numbers;
  }
  return {};
}

std::optional<std::vector<TextKey>> textKeys(const std::vector<Value>& keys) {
  std::vector<TextKey> texts;
  texts.reserve(keys.size());
  for (const Value& key : keys) {
    if (key.text() == nullptr) return {};
    texts.emplace_back(*key.text());
  }
  return texts;
}

}  // namespace QVFoundation::detail
