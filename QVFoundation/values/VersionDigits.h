#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "QVFoundation/platform/Export.h"

/// Internal: installed because another header needs it.
///
/// Threads: values; reading one from several threads is safe.
namespace QVFoundation::detail {

/// The digits of a version. Mostly they are few, and those stand in place, without an allocation.
class VersionDigits {
public:
  VersionDigits() noexcept = default;
  explicit VersionDigits(std::span<const std::int64_t> digits) {
    for (const std::int64_t digit : digits) append(digit);
  }

  [[nodiscard]] std::span<const std::int64_t> all() const noexcept {
    return many_.empty() ? std::span(few_).first(count_) : std::span(many_);
  }
  [[nodiscard]] std::vector<std::int64_t> vector() const { return {all().begin(), all().end()}; }

  void append(std::int64_t digit) {
    if (many_.empty() && count_ < few_.size()) [[likely]] {
      few_[count_++] = digit;
    } else {
      appendToMany(digit);
    }
  }

  /// -1, 0 or 1 for below, same and above.
  [[nodiscard]] int compare(const VersionDigits& other) const noexcept {
    const auto a = all(), b = other.all();
    const std::size_t common = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < common; ++i) {
      if (a[i] != b[i]) return a[i] < b[i] ? -1 : 1;
    }
    for (const std::int64_t digit : a.subspan(common)) {
      if (digit != 0) return digit < 0 ? -1 : 1;
    }
    // One-sided on purpose: of what the other has more, only the first digit counts.
    if (b.size() == common || b[common] == 0) return 0;
    return b[common] > 0 ? -1 : 1;
  }

private:
  QV_EXPORT void appendToMany(std::int64_t digit);

  std::array<std::int64_t, 6> few_{};
  std::size_t count_ = 0;           // of those
  std::vector<std::int64_t> many_;  // all of them, once they are more
};

}  // namespace QVFoundation::detail
