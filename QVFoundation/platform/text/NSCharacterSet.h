#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation {

/// A set of code points, such as those that a scanner skips or collects.
///
/// ```cpp
/// const NSCharacterSet hexDigits{{U'0', U'9'}, {U'a', U'f'}};
/// const auto gaps = NSCharacterSet::whitespaceAndNewlineCharacterSet().united(NSCharacterSet("-_"));
/// ```
///
/// Threads: an immutable value; copies share their content and may be used on any thread.
class QV_EXPORT NSCharacterSet {
public:
  /// All code points from the first to the last, both included.
  struct Range {
    char32_t first = 0;
    char32_t last = 0;
  };

  NSCharacterSet() noexcept = default;  ///< Contains nothing.
  /// The code points of a text. What is not UTF-8 in it stands for U+FFFD.
  explicit NSCharacterSet(std::string_view characters);
  /// Ranges in any order, which may overlap. One whose last is below its first has nothing in it.
  NSCharacterSet(std::initializer_list<Range> ranges) : NSCharacterSet(Ranges(ranges)) {}

  /// Blanks of all kinds, tabs, and what ends a line or paragraph.
  [[nodiscard]] static const NSCharacterSet& whitespaceAndNewlineCharacterSet();
  /// The digits 0 to 9 of all scripts.
  [[nodiscard]] static const NSCharacterSet& decimalDigitCharacterSet();

  [[nodiscard]] bool contains(char32_t codePoint) const noexcept {
    if (codePoint < asciiCount) return (ascii_[codePoint / wordBits] >> (codePoint % wordBits) & 1) != 0;
    return ranges_ != nullptr && rangesContain(codePoint);
  }

  /// All that is in this set or in the other.
  [[nodiscard]] NSCharacterSet united(const NSCharacterSet& other) const;
  /// All that is not in this set, up to U+10FFFF.
  [[nodiscard]] NSCharacterSet inverted() const;

private:
  using Ranges = std::vector<Range>;

  static constexpr char32_t asciiCount = 128;
  static constexpr unsigned wordBits = 64;

  explicit NSCharacterSet(Ranges ranges);
  [[nodiscard]] static const NSCharacterSet& named(Ranges ranges);
  [[nodiscard]] bool rangesContain(char32_t codePoint) const noexcept;
  [[nodiscard]] const Ranges& ranges() const noexcept;

  std::array<std::uint64_t, asciiCount / wordBits> ascii_{};  // one bit each
  std::shared_ptr<const Ranges> ranges_;  // all, ascending, with gaps between them; null where there are none
};

}  // namespace QVFoundation
