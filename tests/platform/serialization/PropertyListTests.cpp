#include "QVFoundation/platform/serialization/PropertyList.h"

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <sys/stat.h>

#include <gtest/gtest.h>
#include <plist/plist.h>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/Set.h"
#include "tests/platform/files/TemporaryFolder.h"
#include "tests/platform/serialization/ThrownError.h"

namespace QVFoundation {
namespace {

using namespace std::chrono;
using namespace std::string_literals;
using namespace std::string_view_literals;

constexpr PropertyListFormat bothFormats[] = {PropertyListFormat::xml, PropertyListFormat::binary};
constexpr std::int64_t smallest = std::numeric_limits<std::int64_t>::min();
constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();

Value readText(std::string_view text) { return propertyListFromData(std::as_bytes(std::span(text))); }

Value copyOf(const Value& value, PropertyListFormat format) {
  PropertyListFormat found{};
  const Value copy = propertyListFromData(dataFromPropertyList(value, format), &found);
  EXPECT_EQ(found, format);
  return copy;
}

NSData bytes(std::string_view text) {
  const auto span = std::as_bytes(std::span(text));
  return {span.begin(), span.end()};
}

constexpr NSDate date(year_month_day day, nanoseconds time = {}) { return sys_days(day) + time; }

/// Whatever other programs can hold too.
Dictionary commonValues() {
  return {
      {"integers", Array{0, -1, 127, 128, 255, 256, 65535, 65536, 1LL << 32, smallest, largest}},
      {"reals", Array{0.1, 1.0, -1e300, 0x1p-1074}},
      {"booleans", Array{true, false}},
      {"texts", Array{"", "<&>\"']]>", "äöü €𝄞", " two\nlines\t", std::string(70'000, 'x')}},
      {"data", Array{bytes("a"), bytes("ab"), bytes("abc"), bytes("\0\xFF"sv), NSData(5000)}},
      {"dates", Array{date(2001y / 1 / 1), date(1969y / 12 / 31, 23h), date(2026y / 2 / 28, 86399s)}},
      {"nested", Dictionary{{"empty", Dictionary()}, {"none", Array()}, {"ä", Array{Array{Array{1}}}}}},
  };
}

TEST(PropertyList, holdsEveryKindOfValueInBothForms) {
  Dictionary everything = commonValues();
  everything.set("reals", Array{HUGE_VAL, std::nan(""), -0.0, 0.1F});
  everything.set("texts", Array{" blanks\t\n kept\r\n and\r", "ﬀ" + std::string(300, 'y')});
  everything.set("others", Array{NSData(), date(1700y / 1 / 1), date(2262y / 1 / 1), Dictionary{{"", 1}}});
  for (const PropertyListFormat format : bothFormats) {
    EXPECT_TRUE(copyOf(everything, format) == Value(everything));
    const Array copy = copyOf(Array{1, 1.0, true, largest}, format).array();
    EXPECT_EQ(copy[0].number()->type(), NSNumber::Type::int64);
    EXPECT_EQ(copy[1].number()->type(), NSNumber::Type::float64);
    EXPECT_EQ(copy[2].number()->type(), NSNumber::Type::boolean);
    EXPECT_EQ(copy[3].number()->type(), NSNumber::Type::uint64);
  }
}

NSData rewrittenByPeer(const NSData& data, PropertyListFormat format) {
  plist_t parsed = nullptr;
  plist_from_memory(reinterpret_cast<const char*>(data.data()), static_cast<std::uint32_t>(data.size()),
                    &parsed);
  const std::unique_ptr<void, decltype(&plist_free)> root(parsed, plist_free);
  char* text = nullptr;
  std::uint32_t length = 0;
  if (root) (format == PropertyListFormat::xml ? plist_to_xml : plist_to_bin)(root.get(), &text, &length);
  const std::unique_ptr<char, decltype(&std::free)> owner(text, std::free);
  return bytes({text, length});
}

// A file goes through another library, which turns it into the other form, and must come back as it was.
TEST(PropertyList, isReadAndWrittenByOtherProgramsToo) {
  for (const PropertyListFormat from : bothFormats) {
    for (const PropertyListFormat to : bothFormats) {
      const NSData rewritten = rewrittenByPeer(dataFromPropertyList(commonValues(), from), to);
      EXPECT_TRUE(propertyListFromData(rewritten) == Value(commonValues()));
    }
  }
}

TEST(PropertyList, datesKeepSecondsInXMLAndMicrosecondsInBinaryWithinWhatNSDateHolds) {
  const NSDate exact = date(2026y / 7 / 1, 12h + 123'456'789ns);
  EXPECT_EQ(copyOf(exact, PropertyListFormat::xml), Value(floor<seconds>(exact)));
  EXPECT_EQ(copyOf(exact, PropertyListFormat::binary), Value(floor<microseconds>(exact)));
  for (const PropertyListFormat format : bothFormats) {
    for (const NSDate extreme : {NSDate::min(), NSDate::max()})
      EXPECT_LT(abs(*copyOf(extreme, format).date() - extreme), 1s);
  }
  EXPECT_EQ(readText("<date>4001-01-01T00:00:00Z</date>"), Value(NSDate::max()));
  EXPECT_EQ(readText("<date>0001-01-01T00:00:00Z</date>"), Value(NSDate::min()));
}

TEST(PropertyList, xmlIsWrittenForPeopleToo) {
  const NSData data =
      dataFromPropertyList(Dictionary{{"b", Array{1, true}}, {"a", "x\ry"}}, PropertyListFormat::xml);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(data.data()), data.size()),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n"
            "<dict>\n\t<key>a</key>\n\t<string>x&#13;y</string>\n\t<key>b</key>\n"
            "\t<array>\n\t\t<integer>1</integer>\n\t\t<true/>\n\t</array>\n</dict>\n</plist>\n");
}

std::string writeError(const Value& value, PropertyListFormat format) {
  return thrownError(NSPropertyListWriteInvalidError, [&] { (void)dataFromPropertyList(value, format); });
}

struct ReadCase {
  const char* row;
  std::string text;
  Value value;
};

const ReadCase readable[] = {
    {"document type", "<!DOCTYPE plist PUBLIC \"-//A//B\" \"c>d\"><plist>\n<true></true> </plist>", true},
    {"empty elements", "<array><string/><data/><dict/></array>", Array{"", NSData(), Dictionary()}},
    {"text in pieces", "<string>a<!-- b -->c<![CDATA[<d>&amp;]]>&lt;&#x1D11E;</string>", "ac<d>&amp;<𝄞"},
    {"integers", "<array><integer> +7\n</integer><integer>-0x10</integer></array>", Array{7, -16}},
    {"reals", "<array><real> +1.5e3 </real><real>-Infinity</real></array>", Array{1500.0, -HUGE_VAL}},
    {"broken base64 lines", "<data>\n\t YW\r\n Jj ZA\n</data>", bytes("abcd")},
    {"UTF-16", "\xFF\xFE<\0t\0r\0u\0e\0/\0>\0"s, true},
    {"equal keys", "<dict><key>a</key><true/><key>a</key><false/></dict>", Dictionary{{"a", false}}},
};

struct FaultCase {
  std::string_view text, error;
};

constexpr FaultCase faults[] = {
    {"", "1: no element found"},
    {"<plist> </plist>", "1: there is no value"},
    {"<plist><true/><true/></plist>", "15: a second value"},
    {"<array>x</array>", "8: a text outside of a value"},
    {"<array><ä/></array>", "8: an unknown element <ä>"},
    {"<string>a<true/></string>", "10: an element inside of a text"},
    {"<dict><true/></dict>", "7: expected <key> in a dictionary"},
    {"<dict><key>a</key></dict>", "7: a key has no value"},
    {"<dict><key>a</key><key>b</key></dict>", "7: a key has no value"},
    {"<array><key>a</key></array>", "8: expected a value"},
    {"<integer/>", "1: this is no integer of 64 bits"},
    {"<integer>--1</integer>", "1: this is no integer of 64 bits"},
    {"<integer>18446744073709551616</integer>", "1: this is no integer of 64 bits"},
    {"<integer>-9223372036854775809</integer>", "1: this is no integer of 64 bits"},
    {"<real>1.5x</real>", "1: this is no real number"},
    {"<real>+-1</real>", "1: this is no real number"},
    {"<date>2026-02-30T00:00:00Z</date>", "1: this is no date such as 2026-01-31T23:59:59Z"},
    {"<date>2026-257-01T00:00:00Z</date>", "1: this is no date such as 2026-01-31T23:59:59Z"},
    {"<data>YW-j</data>", "1: this is no base64"},
    {"<data>YWJjZ</data>", "1: this is no base64"},
    {"<true>no</true>", "1: a boolean has content"},
    {"<!DOCTYPE plist SYSTEM \"x\"><string>a&bogus;b</string>", "37: an unknown reference &bogus;"},
    {"<!DOCTYPE plist [<!ENTITY a \"&a;\">]><string>&a;</string>", "45: recursive entity reference"},
    {"<string>ä\xFF</string>", "10: the text is not valid UTF-8"},
};

TEST(PropertyList, xmlIsReadAsOthersWriteItAndFaultsAreNamedWithTheirPlace) {
  for (const ReadCase& c : readable) EXPECT_EQ(readText(c.text), c.value) << c.row;
  for (const FaultCase& c : faults) {
    EXPECT_EQ(thrownError(NSPropertyListReadCorruptError, [&] { (void)readText(c.text); }),
              "Invalid property list at line 1, column " + std::string(c.error));
  }
}

TEST(PropertyList, nestingIsLimitedInBothDirections) {
  Value deep = Array{};
  for (int level = 1; level < 512; ++level) deep = Array{deep};
  for (const PropertyListFormat format : bothFormats) {
    EXPECT_EQ(copyOf(deep, format), deep);
    EXPECT_TRUE(writeError(Array{deep}, format).ends_with("it is nested deeper than 512 levels"));
  }
  std::string xml;
  for (int level = 0; level < 1'000'000; ++level) xml += "<array>";
  EXPECT_EQ(thrownError(NSPropertyListReadCorruptError, [&] { (void)readText(xml); }),
            "Invalid property list at line 1, column 3585: values are nested deeper than 512 levels");
}

struct WriteErrorCase {
  Value value;
  std::string_view error;
};

const WriteErrorCase unwritable[] = {
    {{}, " cannot be written: it is nothing"},
    {Array{1, NSNull()}, " at \"[1]\" cannot be written: it is null"},
    {Dictionary{{"a", Dictionary{{"b", Set{1}}}}}, " at \"a.b\" cannot be written: it is a set"},
    {Array{NSError("A", 1)}, " at \"[0]\" cannot be written: it is an error"},
    {Dictionary{{1, 2}}, " cannot be written: its key 1 is no text"},
    {Array{"a\xFF"}, " at \"[0]\" cannot be written: it is not valid UTF-8"},
};

TEST(PropertyList, whatItCannotHoldIsRefusedByItsKeyPath) {
  for (const WriteErrorCase& c : unwritable) {
    for (const PropertyListFormat format : bothFormats)
      EXPECT_EQ(writeError(c.value, format), "The value" + std::string(c.error));
  }
  const Value control = Dictionary{{"a", Array{"bell\a", "zero\0"sv}}};
  EXPECT_EQ(copyOf(control, PropertyListFormat::binary), control);
  EXPECT_EQ(writeError(control, PropertyListFormat::xml),
            "The value at \"a[0]\" cannot be written: XML cannot hold the control characters in it");
  for (const char* text : {"\uFFFE", "a\uFFFF"}) {
    EXPECT_EQ(copyOf(text, PropertyListFormat::binary), Value(text));
    EXPECT_EQ(writeError(text, PropertyListFormat::xml),
              "The value cannot be written: XML cannot hold U+FFFE and U+FFFF, and it has one of them");
  }
  for (const PropertyListFormat format : bothFormats) EXPECT_EQ(copyOf("\uFFFD", format), Value("\uFFFD"));
}

TEST(PropertyList, ofAFileIsADictionaryOrAnErrorThatNamesTheFileAndKeepsTheCause) {
  const testing::TemporaryFolder folder;
  const auto path = folder / "file";
  testing::makeFile(path, "<dict><key>a</key><true/></dict>");
  EXPECT_EQ(dictionaryFromPropertyListFile(path), (Dictionary{{"a", true}}));

  std::optional<NSError> error;
  for (const auto& [text, problem] :
       {std::pair{"<dict>", "Invalid property list at line 1, column 7: no element found"},
        {"<array/>", "it holds no dictionary"}}) {
    testing::makeFile(path, text);
    EXPECT_FALSE(dictionaryFromPropertyListFile(path, &error));
    EXPECT_EQ(error->code(), NSPropertyListReadCorruptError);
    EXPECT_EQ(error->localizedDescription(),
              "The file \"" + path.string() + "\" could not be read: " + problem);
    EXPECT_EQ(error->userInfo()[NSFilePathErrorKey], path.string());
  }
  EXPECT_FALSE(dictionaryFromPropertyListFile(path));     // nobody need take the error
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);  // nobody waits for a pipe
  testing::makeFile(folder / "huge", "<");
  std::filesystem::resize_file(folder / "huge", 1ULL << 32);  // holes only
  for (const auto& [name, code, cause] : {std::tuple{"absent", NSFileReadNoSuchFileError, ENOENT},
                                          {"", NSFileReadUnknownError, EISDIR},
                                          {"huge", NSFileReadTooLargeError, EFBIG},
                                          {"pipe", NSFileReadUnknownError, EINVAL}}) {
    EXPECT_FALSE(dictionaryFromPropertyListFile(folder / name, &error));
    EXPECT_EQ(error->code(), code) << name;
    EXPECT_EQ(error->underlyingErrors().front().code(), cause) << name;
  }
}

}  // namespace
}  // namespace QVFoundation
