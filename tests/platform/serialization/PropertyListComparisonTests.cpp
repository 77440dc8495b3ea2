#include "QVFoundation/platform/serialization/PropertyList.h"

#include <bit>
#include <chrono>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "QVFoundation/platform/files/FileContents_p.h"
#include "QVFoundation/platform/files/NSDataFiles.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "tests/platform/files/CommandOutput.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation {
namespace {

/// Makes values of all kinds that both forms can hold. Dates have whole seconds, as in XML.
class PropertyListMaker {
public:
  Value value(int depth) {
    switch (below(depth > 0 ? 9 : 7)) {
      case 0: return below(2) == 1;
      case 1: return static_cast<std::int64_t>(bits() >> (1 + below(63))) * (below(2) == 1 ? 1 : -1);
      case 2: return bits() | (1UL << 63U);
      case 3: return real();
      case 4: return text();
      case 5: return data();
      case 6:
        return NSDate(std::chrono::seconds(static_cast<std::int64_t>(below(17'000'000'000)) - 8'500'000'000));
      case 7: return array(depth);
      default: return dictionary(depth);
    }
  }

private:
  std::uint64_t bits() { return random_(); }
  std::uint64_t below(std::uint64_t limit) { return random_() % limit; }

  double real() {
    const auto number = std::bit_cast<double>(bits());
    return std::isfinite(number) ? number : 0.1;
  }
  std::string text() {
    static const std::string pieces[] = {"a",   "Z",  " ", "\n", "\t", "&",         "<",
                                         "]]>", "\"", "ä", "€",  "日", "\U0001F600"};
    std::string text;
    for (std::uint64_t length = below(20); length > 0; --length) text += pieces[below(std::size(pieces))];
    return text;
  }
  NSData data() {
    NSData data(below(100));
    for (std::byte& byte : data) byte = static_cast<std::byte>(bits());
    return data;
  }
  Value array(int depth) {
    Array array;
    for (std::uint64_t size = below(6); size > 0; --size) array.append(value(depth - 1));
    return array;
  }
  Value dictionary(int depth) {
    Dictionary dictionary;
    for (std::uint64_t size = below(6); size > 0; --size) dictionary.set(text(), value(depth - 1));
    return dictionary;
  }

  std::mt19937_64 random_{42};
};

constexpr const char* rewriter = R"(
import plistlib, sys
lists = plistlib.load(open(sys.argv[1], 'rb'))
forms = plistlib.FMT_XML, plistlib.FMT_BINARY
again = [plistlib.dumps(plistlib.loads(one), fmt=form) for one in lists for form in forms]
plistlib.dump(again, open(sys.argv[2], 'wb'), fmt=plistlib.FMT_BINARY)
)";

TEST(PropertyList, comesBackFromAnotherProgramAsItWas) {
  constexpr PropertyListFormat forms[] = {PropertyListFormat::xml, PropertyListFormat::binary};
  PropertyListMaker maker;
  std::vector<Value> values;
  Array lists;
  for (int i = 0; i < 2500; ++i) {
    values.push_back(maker.value(4));
    for (const auto form : forms) lists.append(dataFromPropertyList(values.back(), form));
  }
  const testing::TemporaryFolder folder;
  testing::makeFile(folder / "rewrite.py", rewriter);
  ASSERT_TRUE(writeDataToFile(dataFromPropertyList(lists, PropertyListFormat::binary), folder / "lists"));
  const std::string script = (folder / "rewrite.py").string() + ' ';
  testing::outputOf("python3 " + script + (folder / "lists").string() + ' ' + (folder / "again").string());

  const Array again = propertyListFromData(detail::contentsOfFile(folder / "again")).array();
  ASSERT_EQ(again.size(), 4 * values.size());
  for (std::size_t i = 0; i < again.size(); ++i) {
    const Value found = propertyListFromData(*again[i].data());
    const Value& expected = values[i / 4];
    EXPECT_EQ(found, expected) << i;
    // Says of each number what it is.
    EXPECT_EQ(dataFromPropertyList(found, PropertyListFormat::xml),
              dataFromPropertyList(expected, PropertyListFormat::xml))
        << i;
  }
}

}  // namespace
}  // namespace QVFoundation
