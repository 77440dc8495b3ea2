#include "QVFoundation/platform/text/NSCharacterSet.h"

#include <algorithm>
#include <utility>

#include "QVFoundation/platform/text/Unicode.h"

namespace QVFoundation {

namespace {

using CharacterRange = NSCharacterSet::Range;
using CharacterRanges = std::vector<CharacterRange>;

constexpr char32_t lastCodePoint = 0x10FFFF;

/// The same code points in ascending order, with a gap between each two ranges.
CharacterRanges joined(CharacterRanges ranges) {
  for (CharacterRange& range : ranges) range.last = std::min(range.last, lastCodePoint);
  std::erase_if(ranges, [](const CharacterRange& range) { return range.last < range.first; });
  std::ranges::sort(ranges, {}, &CharacterRange::first);
  CharacterRanges made;
  for (const CharacterRange& range : ranges) {
    if (!made.empty() && range.first <= made.back().last + 1) {
      made.back().last = std::max(made.back().last, range.last);
    } else {
      made.push_back(range);
    }
  }
  return made;
}

CharacterRanges rangesOfText(std::string_view text) {
  CharacterRanges ranges;
  while (!text.empty()) {
    const DecodedCodePoint decoded = decodeUTF8(text);
    ranges.push_back({decoded.codePoint, decoded.codePoint});
    text.remove_prefix(decoded.length);
  }
  return ranges;
}

/// The zero of each script; the other nine follow it. Category Nd of Unicode 15.
constexpr char32_t zeros[] = {
    0x0030,  0x0660,  0x06F0,  0x07C0,  0x0966,  0x09E6,  0x0A66,  0x0AE6,  0x0B66,  0x0BE6,
    0x0C66,  0x0CE6,  0x0D66,  0x0DE6,  0x0E50,  0x0ED0,  0x0F20,  0x1040,  0x1090,  0x17E0,
    0x1810,  0x1946,  0x19D0,  0x1A80,  0x1A90,  0x1B50,  0x1BB0,  0x1C40,  0x1C50,  0xA620,
    0xA8D0,  0xA900,  0xA9D0,  0xA9F0,  0xAA50,  0xABF0,  0xFF10,  0x104A0, 0x10D30, 0x11066,
    0x110F0, 0x11136, 0x111D0, 0x112F0, 0x11450, 0x114D0, 0x11650, 0x116C0, 0x11730, 0x118E0,
    0x11950, 0x11C50, 0x11D50, 0x11DA0, 0x11F50, 0x16A60, 0x16AC0, 0x16B50, 0x1D7CE, 0x1D7D8,
    0x1D7E2, 0x1D7EC, 0x1D7F6, 0x1E140, 0x1E2F0, 0x1E4F0, 0x1E950, 0x1FBF0,
};

CharacterRanges digitRanges() {
  CharacterRanges ranges;
  for (const char32_t zero : zeros) ranges.push_back({zero, zero + 9});
  return ranges;
}

}  // namespace

NSCharacterSet::NSCharacterSet(std::string_view characters) : NSCharacterSet(rangesOfText(characters)) {}

NSCharacterSet::NSCharacterSet(Ranges ranges) {
  ranges = joined(std::move(ranges));
  if (ranges.empty()) return;
  for (const Range& range : ranges) {
    for (char32_t c = range.first; c <= range.last && c < asciiCount; ++c)
      ascii_[c / wordBits] |= std::uint64_t{1} << (c % wordBits);
  }
  ranges_ = std::make_shared<const Ranges>(std::move(ranges));
}

const NSCharacterSet& NSCharacterSet::named(Ranges ranges) {
  auto& set = *new NSCharacterSet(std::move(ranges));
  // They stay to the end of the process, so copies of the set need not be counted.
  const auto* const kept = new Ranges(set.ranges());
  set.ranges_ = std::shared_ptr<const Ranges>(std::shared_ptr<const Ranges>(), kept);
  return set;
}

const NSCharacterSet& NSCharacterSet::whitespaceAndNewlineCharacterSet() {
  static const NSCharacterSet& set = named({{U'\t', U'\r'},
                                            {U' ', U' '},
                                            {0x85, 0x85},
                                            {0xA0, 0xA0},
                                            {0x1680, 0x1680},
                                            {0x2000, 0x200A},
                                            {0x2028, 0x2029},
                                            {0x202F, 0x202F},
                                            {0x205F, 0x205F},
                                            {0x3000, 0x3000}});
  return set;
}

const NSCharacterSet& NSCharacterSet::decimalDigitCharacterSet() {
  static const NSCharacterSet& set = named(digitRanges());
  return set;
}

bool NSCharacterSet::rangesContain(char32_t codePoint) const noexcept {
  const auto behind = std::ranges::upper_bound(*ranges_, codePoint, {}, &Range::first);
  return behind != ranges_->begin() && codePoint <= std::prev(behind)->last;
}

const NSCharacterSet::Ranges& NSCharacterSet::ranges() const noexcept {
  static const auto& none = *new Ranges;
  return ranges_ != nullptr ? *ranges_ : none;
}

NSCharacterSet NSCharacterSet::united(const NSCharacterSet& other) const {
  Ranges all = ranges();
  all.insert(all.end(), other.ranges().begin(), other.ranges().end());
  return NSCharacterSet(std::move(all));
}

NSCharacterSet NSCharacterSet::inverted() const {
  Ranges gaps;
  char32_t next = 0;
  for (const Range& range : ranges()) {
    if (range.first > next) gaps.push_back({next, range.first - 1});
    next = range.last + 1;
  }
  if (next <= lastCodePoint) gaps.push_back({next, lastCodePoint});
  return NSCharacterSet(std::move(gaps));
}

}  // namespace QVFoundation
