#include "QVFoundation/platform/runtime/NamedComparisons.h"

#include <cwctype>
#include <locale.h>
#include <map>
#include <mutex>
#include <shared_mutex>
#include <utility>

#include "QVFoundation/platform/runtime/ValueOrder.h"
#include "QVFoundation/platform/text/Unicode.h"

namespace QVFoundation {

namespace {

/// Unicode's mapping, whatever the process's own locale is.
char32_t lowerCase(char32_t codePoint) {
  static const locale_t unicode = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  if (unicode == nullptr) {
    return codePoint >= U'A' && codePoint <= U'Z' ? codePoint + (U'a' - U'A') : codePoint;
  }
  return static_cast<char32_t>(towlower_l(static_cast<wint_t>(codePoint), unicode));
}

char32_t takeLowerCase(std::string_view& text) {
  const DecodedCodePoint next = decodeUTF8(text);
  text.remove_prefix(next.length);
  return lowerCase(next.codePoint);
}

int compareWithoutCase(std::string_view a, std::string_view b) {
  while (!a.empty() && !b.empty()) {
    const char32_t ofA = takeLowerCase(a);
    const char32_t ofB = takeLowerCase(b);
    if (ofA != ofB) return ofA < ofB ? -1 : 1;
  }
  return static_cast<int>(!a.empty()) - static_cast<int>(!b.empty());
}

int caseInsensitiveCompare(const Value& a, const Value& b) {
  if (a.text() == nullptr || b.text() == nullptr) return compareValues(a, b);
  return compareWithoutCase(*a.text(), *b.text());
}

class Comparisons {
public:
  // Never destroyed, so that objects are sorted to the end of the process.
  static Comparisons& shared() {
    static Comparisons& comparisons = *new Comparisons;
    return comparisons;
  }

  bool add(std::string selector, NSComparator comparison) {
    const std::unique_lock lock(mutex_);
    return comparisons_.try_emplace(std::move(selector), std::move(comparison)).second;
  }

  NSComparator find(std::string_view selector) {
    const std::shared_lock lock(mutex_);
    const auto found = comparisons_.find(selector);
    return found != comparisons_.end() ? found->second : NSComparator();
  }

private:
  std::shared_mutex mutex_;
  std::map<std::string, NSComparator, std::less<>> comparisons_{
      {"compare:", compareValues}, {"caseInsensitiveCompare:", caseInsensitiveCompare}};
};

}  // namespace

bool registerComparison(std::string selector, NSComparator comparison) {
  return comparison && Comparisons::shared().add(std::move(selector), std::move(comparison));
}

NSComparator comparisonNamed(std::string_view selector) { return Comparisons::shared().find(selector); }

}  // namespace QVFoundation
