#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/text/Format.h"
#include "QVFoundation/platform/text/NSScanner.h"
#include "QVFoundation/values/VersionParsing_p.h"

namespace QVFoundation::detail {

namespace {

struct VersionLetters {
  NSCharacterSet stages{"ab"};
  NSCharacterSet capitals{{U'A', U'Z'}};
  NSCharacterSet smallLetters{{U'a', U'z'}};

  static const VersionLetters& shared() {
    static const auto& letters = *new VersionLetters;
    return letters;
  }
};

bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }

/// Reads what is nothing but numbers and dots, as nearly all versions are; short numbers only. Returns where it
/// met something else, with the number before that unread.
std::size_t readPlainNumbers(std::string_view text, VersionDigits& digits) {
  constexpr std::ptrdiff_t mostPlaces = 9;  // of which all fit into 32 bits
  const char* unread = text.data();
  const char* const last = unread + text.size();
  while (unread != last) {
    const char* end = unread;
    std::uint64_t number = 0;
    for (; end != last && isDigit(*end); ++end) number = number * 10 + static_cast<unsigned char>(*end - '0');
    const std::ptrdiff_t places = end - unread;
    if (places == 0 || places > mostPlaces || (end != last && *end != '.')) break;
    digits.append(static_cast<std::int64_t>(number));
    unread = end == last ? last : end + 1;
  }
  return static_cast<std::size_t>(unread - text.data());
}

}  // namespace

void VersionDigits::appendToMany(std::int64_t digit) {
  if (many_.empty()) many_ = vector();
  many_.push_back(digit);
}

void readVersion(std::string_view text, VersionDigits& digits) {
  const std::size_t plain = readPlainNumbers(text, digits);
  if (plain == text.size()) return;
  NSScanner scanner(text.substr(plain));
  while (!scanner.isAtEnd()) {
    if (const auto number = scanner.scanInt()) {
      digits.append(*number);
      scanner.scanString(".");  // only one, and none behind a letter
    } else if (const auto stage = scanner.scanCharactersFromSet(VersionLetters::shared().stages)) {
      digits.append(stage->front() - 'z');  // below all numbers; of a run of letters only the first counts
    } else {
      break;
    }
  }
}

VersionDigits buildVersionDigits(std::string_view text) {
  const VersionLetters& letters = VersionLetters::shared();
  std::vector<std::int64_t> digits;
  NSScanner scanner(text);
  while (!scanner.isAtEnd()) {
    if (const auto number = scanner.scanInteger()) {
      digits.push_back(*number);
    } else if (const auto train = scanner.scanCharactersFromSet(letters.capitals)) {
      digits.push_back(train->front());
    } else if (const auto variant = scanner.scanCharactersFromSet(letters.smallLetters)) {
      if (digits.empty()) {
        throw NSException(NSRangeException,
                          stringWithFormat("The build number \"%@\" begins with a lower-case letter", text));
      }
      // The zero has a build with such a letter stand below the same without it.
      digits.insert(digits.end() - 1, 0);
      digits.push_back(variant->front());
    } else {
      break;
    }
  }
  return VersionDigits(digits);
}

}  // namespace QVFoundation::detail
