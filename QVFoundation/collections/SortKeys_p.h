#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "QVFoundation/platform/runtime/Value.h"

/// Keys that are compared as what they are instead of as values. Their order is that of `compareValues`.
///
/// Threads: pure functions.
namespace QVFoundation::detail {

/// A text and its beginning, which decides most comparisons without a look at the text.
struct TextKey {
  explicit TextKey(const std::string& its) noexcept;

  friend std::strong_ordering operator<=>(const TextKey& a, const TextKey& b) noexcept {
    return a.beginning != b.beginning ? a.beginning <=> b.beginning : *a.text <=> *b.text;
  }

  std::uint64_t beginning = 0;
  const std::string* text;
};

/// For keys that are all integers, all floating-point numbers or all dates; else nothing.
[[nodiscard]] std::optional<std::vector<std::int64_t>> numericKeys(const std::vector<Value>& keys);
/// For keys that are all texts, which must outlive the result; else nothing.
[[nodiscard]] std::optional<std::vector<TextKey>> textKeys(const std::vector<Value>& keys);

}  // namespace QVFoundation::detail
