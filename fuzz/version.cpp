#include <cctype>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/serialization/NSKeyedArchiver.h"
#include "QVFoundation/platform/serialization/NSKeyedUnarchiver.h"
#include "QVFoundation/values/QVVersionNumber.h"
#include "fuzz/Input.h"
#include "fuzz/Require.h"

// Two versions, a line each, and one of a build.

using namespace QVFoundation;
using fuzzing::require;

namespace {

using Version = std::shared_ptr<QVVersionNumber>;

/// What is missing at the end counts as zero; of what the other has more, only its first digit is looked at.
int order(const Version& a, const Version& b) {
  const auto mine = a->digits(), others = b->digits();
  for (std::size_t i = 0; i < mine.size() || i == mine.size(); ++i) {
    const std::int64_t x = i < mine.size() ? mine[i] : 0, y = i < others.size() ? others[i] : 0;
    if (x != y) return x < y ? -1 : 1;
  }
  return 0;
}

void checkOrder(const Version& a, const Version& b) {
  require(a->compare(*b) == order(a, b) && b->compare(*a) == order(b, a));
  require(a->isEqual(*a) && a->isEqual(*b) == (order(a, b) == 0));
  if (a->countOfDigits() == b->countOfDigits()) require(a->compare(*b) == -b->compare(*a));
}

void checkArchive(const Version& version) {
  const auto archive = NSKeyedArchiver::archivedDataWithRootObject(Value(version));
  require(archive.has_value());
  const auto again = NSKeyedUnarchiver::unarchivedObject<Version>(*archive);
  require(again && (*again)->digits() == version->digits());
}

Version checkVersion(std::string_view text) {
  const auto version = QVVersionNumber::versionWithString(text);
  if (!version) return std::make_shared<QVVersionNumber>();
  require(version->countOfDigits() > 0);
  for (const std::int64_t digit : version->digits()) require(digit == static_cast<std::int32_t>(digit));
  (void)version->versionString();
  checkArchive(version);
  return version;
}

/// Digits that the text of a version can have come out as they went in.
void checkText(const Version& version) {
  bool isPlain = true;
  for (const std::int64_t digit : version->digits()) isPlain = isPlain && digit >= 0;
  if (!isPlain || version->countOfDigits() == 0) return;
  const auto again = QVVersionNumber::versionWithString(version->versionString());
  require(again && again->digits() == version->digits());
}

void checkBuild(std::string_view text) {
  try {
    const auto build = QVVersionNumber::versionWithBuildVersionString(text);
    (void)build->versionString();
    checkOrder(build, build);
    checkArchive(build);
  } catch (const NSException& exception) {
    require(exception.name() == NSRangeException);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::Input input(data, size);
  const std::string_view first = input.line(), second = input.line();
  const Version a = checkVersion(first), b = checkVersion(second);
  checkText(a);
  checkOrder(a, b);
  require(a->compare(second) == a->compare(*b));
  require(QVVersionNumber::compareVersionString(first, second) ==
          (a->countOfDigits() == 0 ? 0 : a->compare(*b)));
  checkBuild(input.rest());
  return 0;
}
