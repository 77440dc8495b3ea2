#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

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
    if (many_.empty() && count_ < few_.size()) {
      few_[count_++] = digit;
    } else {
      if (many_.empty()) many_ = vector();
      many_.push_back(digit);
    }
  }

private:
  std::array<std::int64_t, 6> few_{};
  std::size_t count_ = 0;           // of those
  std::vector<std::int64_t> many_;  // all of them, once they are more
};

}  // namespace QVFoundation::detail
