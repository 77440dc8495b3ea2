#include <utility>

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

}  // namespace

VersionDigits versionDigits(std::string_view text) {
  VersionDigits digits;
  NSScanner scanner(text);
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
  return digits;
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
