#include "QVFoundation/collections/QVSortMap.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

#include "QVFoundation/platform/runtime/ValueOrder.h"

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

/// Empty where a key is of another sort.
std::vector<std::int64_t> numericKeys(const std::vector<Value>& keys, NumericKey numericKey) {
  std::vector<std::int64_t> numbers;
  numbers.reserve(keys.size());
  for (const Value& key : keys) {
    const auto number = numericKey(key);
    if (!number) return {};
    numbers.push_back(*number);
  }
  return numbers;
}

/// A text and its beginning, which decides most comparisons without a look at the text.
struct TextKey {
  explicit TextKey(const std::string& its) noexcept : text(&its) {
    std::array<unsigned char, sizeof(beginning)> bytes{};
    std::memcpy(bytes.data(), its.data(), std::min(its.size(), bytes.size()));
    for (const unsigned char byte : bytes) beginning = beginning << 8 | byte;
  }

  friend std::strong_ordering operator<=>(const TextKey& a, const TextKey& b) noexcept {
    return a.beginning != b.beginning ? a.beginning <=> b.beginning : *a.text <=> *b.text;
  }

  std::uint64_t beginning = 0;
  const std::string* text;
};

std::vector<TextKey> textKeys(const std::vector<Value>& keys) {
  std::vector<TextKey> texts;
  texts.reserve(keys.size());
  for (const Value& key : keys) {
    if (key.text() == nullptr) return {};
    texts.emplace_back(*key.text());
  }
  return texts;
}

template <class Key>
QVIndexMap sortMapOfPlain(const std::vector<Key>& keys) {
  return sortMapOfView(std::views::all(keys), [](const Key& a, const Key& b) { return a <=> b; });
}

}  // namespace

QVIndexMap sortMapOfKeys(const std::vector<Value>& keys) {
  if (keys.size() < 2) return QVIndexMap::identityMapWithCount(keys.size());
  for (const NumericKey numericKey : {integerKey, floatingKey, dateKey}) {
    if (const auto numbers = numericKeys(keys, numericKey); !numbers.empty()) return sortMapOfPlain(numbers);
  }
  if (const auto texts = textKeys(keys); !texts.empty()) return sortMapOfPlain(texts);
  return sortMapOfView(std::views::all(keys), compareValues);
}

QVIndexMap sortMapOfKeys(const std::vector<std::vector<Value>>& keys,
                         const std::vector<NSSortDescriptor>& descriptors, std::size_t count) {
  if (descriptors.size() == 1 && descriptors.front().ascending() && !descriptors.front().comparator()) {
    return sortMapOfKeys(keys.front());
  }
  const auto compareElements = [&](std::size_t a, std::size_t b) {
    for (std::size_t i = 0; i < descriptors.size(); ++i) {
      if (const int order = descriptors[i].compareKeys(keys[i][a], keys[i][b]); order != 0) return order;
    }
    return 0;
  };
  return sortMapOfView(std::views::iota(std::size_t{0}, count), compareElements);
}

}  // namespace QVFoundation::detail
