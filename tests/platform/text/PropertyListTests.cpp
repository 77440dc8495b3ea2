#include "QVFoundation/platform/text/PropertyList.h"

#include <chrono>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/Set.h"
#include "tests/platform/text/ThrownError.h"

namespace QVFoundation {
namespace {

using namespace std::chrono;
using namespace std::string_literals;
using namespace std::string_view_literals;

constexpr PropertyListFormat bothFormats[] = {PropertyListFormat::xml, PropertyListFormat::binary};

Value readText(std::string_view text, PropertyListFormat* format = nullptr) {
  return propertyListFromData(std::as_bytes(std::span(text)), format);
}

Value copyOf(const Value& value, PropertyListFormat format) {
  return propertyListFromData(dataFromPropertyList(value, format));
}

NSData bytes(std::string_view text) {
  const auto span = std::as_bytes(std::span(text));
  return {span.begin(), span.end()};
}

NSDate date(int y, unsigned m, unsigned d, nanoseconds time = {}) {
  return sys_days(year(y) / static_cast<int>(m) / static_cast<int>(d)) + time;
}

Value everything() {
  return Dictionary{
      {"integers", Array{0, 1, -1, 127, 128, 255, 256, 65535, 65536, 4294967295, 4294967296,
                         std::numeric_limits<std::int64_t>::max(), std::numeric_limits<std::int64_t>::min(),
                         std::numeric_limits<std::uint64_t>::max()}},
      {"reals",
       Array{0.1, -0.0, 1.0, 1e300, 0x1p-1074, std::numeric_limits<double>::infinity(), std::nan("")}},
      {"booleans", Array{true, false}},
      {"texts", Array{"", "plain", "<&>\"'", " blanks\t\n kept\r\n and\r", "äöü €", "𝄞",
                      std::string(70'000, 'x'), "]]>", "ﬀ" + std::string(300, 'y')}},
      {"data", Array{NSData(), bytes("a"), bytes("ab"), bytes("abc"), bytes("\0\xFF"sv), NSData(5000)}},
      {"dates", Array{date(2001, 1, 1), date(1969, 12, 31, hours(23)), date(2026, 2, 28, 86399s),
                      date(1700, 1, 1), date(2262, 1, 1)}},
      {"nested", Dictionary{{"empty", Dictionary()}, {"none", Array()}, {"", Array{Array{Array{1}}}}}},
  };
}

TEST(PropertyList, holdsEveryKindOfValueInBothForms) {
  for (const PropertyListFormat format : bothFormats) {
    PropertyListFormat found{};
    const Value copy = propertyListFromData(dataFromPropertyList(everything(), format), &found);
    EXPECT_EQ(found, format);
    EXPECT_TRUE(copy == everything()) << copy.description().substr(0, 4000);
  }
}

TEST(PropertyList, numbersKeepTheirKind) {
  for (const PropertyListFormat format : bothFormats) {
    const Array copy =
        copyOf(Array{1, 1.0, true, -1, std::numeric_limits<std::uint64_t>::max()}, format).array();
    EXPECT_EQ(copy[0].number()->type(), NSNumber::Type::int64);
    EXPECT_EQ(copy[1].number()->type(), NSNumber::Type::float64);
    EXPECT_EQ(copy[2].number()->type(), NSNumber::Type::boolean);
    EXPECT_EQ(copy[3].as<std::int64_t>(), -1);
    EXPECT_EQ(copy[4].as<std::uint64_t>(), std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(copyOf(0.1F, format), Value(0.1F));
  }
}

TEST(PropertyList, datesKeepSecondsInXMLAndMicrosecondsInBinary) {
  const NSDate exact = date(2026, 7, 1, 12h + 123'456'789ns);
  EXPECT_EQ(copyOf(exact, PropertyListFormat::xml), Value(date(2026, 7, 1, 12h)));
  EXPECT_EQ(copyOf(exact, PropertyListFormat::binary), Value(date(2026, 7, 1, 12h + 123'456us)));
  for (const NSDate extreme : {NSDate::min(), NSDate::max()}) {
    for (const PropertyListFormat format : bothFormats) {
      EXPECT_LT(abs(*copyOf(extreme, format).date() - extreme), 1s);
    }
  }
}

TEST(PropertyList, aDateThatNSDateCannotHoldBecomesTheNearest) {
  EXPECT_EQ(readText("<date>4001-01-01T00:00:00Z</date>"), Value(NSDate::max()));
  EXPECT_EQ(readText("<date>0001-01-01T00:00:00Z</date>"), Value(NSDate::min()));
}

TEST(PropertyList, xmlIsWrittenForPeopleToo) {
  const NSData data =
      dataFromPropertyList(Dictionary{{"b", Array{1, true}}, {"a", "x\ry"}}, PropertyListFormat::xml);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(data.data()), data.size()),
            R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0">
<dict>
	<key>a</key>
	<string>x&#13;y</string>
	<key>b</key>
	<array>
		<integer>1</integer>
		<true/>
	</array>
</dict>
</plist>
)");
}

struct ReadCase {
  const char* row;
  std::string text;
  Value value;
};

const ReadCase readable[] = {
    {"all the trimmings",
     "<?xml version=\"1.0\"?>\n<!DOCTYPE plist PUBLIC \"-//A//DTD B//EN\" \"c>d\" [ <!-- don't --> <!ENTITY "
     "x \"y>z\"> ]>\n"
     "<!-- <dict> --> <plist version='1.0' other=\">/\">\n<array > <?skip <me>?> <true></true> "
     "</array\n></plist> <!---->\n",
     Array{true}},
    {"no wrapper", "<dict><key>a</key><string>b</string></dict>", Dictionary{{"a", "b"}}},
    {"empty elements", "<array><string/><data/><dict/><array /></array>",
     Array{"", NSData(), Dictionary(), Array()}},
    {"references", "<string>&lt;&gt;&amp;&apos;&quot;&#65;&#x1D11E;</string>", "<>&'\"A𝄞"},
    {"text in pieces", "<string>a<!-- b -->c<![CDATA[<d>&amp;]]>e</string>", "ac<d>&amp;e"},
    {"line ends", "<string>a\r\nb\rc<![CDATA[\r\n]]></string>", "a\nb\nc\n"},
    {"blanks around numbers", "<array><integer> 1\n</integer><real> 2 </real></array>", Array{1, 2.0}},
    {"forms of integers",
     "<array><integer>+7</integer><integer>0xFf</integer><integer>-0x10</integer></array>",
     Array{7, 255, -16}},
    {"forms of reals",
     "<array><real>+1.5e3</real><real>nan</real><real>-Infinity</real><real>+inf</real></array>",
     Array{1500.0, std::nan(""), -std::numeric_limits<double>::infinity(),
           std::numeric_limits<double>::infinity()}},
    {"broken base64 lines", "<data>\n\t YW\r\n Jj ZA\n</data>", bytes("abcd")},
    {"equal keys", "<dict><key>a</key><true/><key>a</key><false/></dict>", Dictionary{{"a", false}}},
    {"byte order mark", "\xEF\xBB\xBF<true/>", true},
    {"UTF-16 with a mark", "\xFF\xFE<\0t\0r\0u\0e\0/\0>\0"s, true},
    {"UTF-16 without", "\0<\0s\0t\0r\0i\0n\0g\0>\0\xE4\0<\0/\0s\0t\0r\0i\0n\0g\0>"s, "ä"},
};

TEST(PropertyList, xmlIsReadAsOthersWriteIt) {
  for (const ReadCase& c : readable) {
    EXPECT_EQ(readText(c.text), c.value) << c.row;
  }
}

struct FaultCase {
  const char* row;
  std::string text;
  std::string_view error;
};

const FaultCase faults[] = {
    {"nothing", "", "line 1, column 1: no element found"},
    {"other text", "hello", "line 1, column 1: syntax error"},
    {"cut in a container", "<plist>\n<array>\n<true/>", "line 3, column 8: no element found"},
    {"cut in a text", "<string>abc", "line 1, column 12: no element found"},
    {"cut in a tag", "<array><str", "line 1, column 8: unclosed token"},
    {"nothing inside", "<plist/>", "line 1, column 1: there is no value"},
    {"nothing inside two tags", "<plist> </plist>", "line 1, column 1: there is no value"},
    {"two values", "<plist><true/><true/></plist>", "line 1, column 15: a second value"},
    {"more behind", "<true/>x", "line 1, column 8: junk after document element"},
    {"text in a container", "<array>x</array>", "line 1, column 8: a text outside of a value"},
    {"unknown element", "<array><ä/></array>", "line 1, column 8: an unknown element <ä>"},
    {"wrong end", "<array>\n<dict></array>", "line 2, column 9: mismatched tag"},
    {"element in a text", "<string>a<true/></string>", "line 1, column 10: an element inside of a text"},
    {"value without key", "<dict><true/></dict>", "line 1, column 7: expected <key> in a dictionary"},
    {"key without value", "<dict><key>a</key></dict>", "line 1, column 7: a key has no value"},
    {"key in an array", "<array><key>a</key></array>", "line 1, column 8: expected a value"},
    {"word for an integer", "<integer>abc</integer>", "line 1, column 1: this is no integer of 64 bits"},
    {"empty integer", "<integer/>", "line 1, column 1: this is no integer of 64 bits"},
    {"two signs", "<integer>--1</integer>", "line 1, column 1: this is no integer of 64 bits"},
    {"integer beyond", "<integer>18446744073709551616</integer>",
     "line 1, column 1: this is no integer of 64 bits"},
    {"integer below", "<integer>-9223372036854775809</integer>",
     "line 1, column 1: this is no integer of 64 bits"},
    {"no real", "<real>1.5x</real>", "line 1, column 1: this is no real number"},
    {"no date", "<date>2026-02-30T00:00:00Z</date>",
     "line 1, column 1: this is no date such as 2026-01-31T23:59:59Z"},
    {"month too large", "<date>2026-257-01T00:00:00Z</date>",
     "line 1, column 1: this is no date such as 2026-01-31T23:59:59Z"},
    {"no base64", "<data>YW-j</data>", "line 1, column 1: this is no base64"},
    {"one letter too many", "<data>YWJjZ</data>", "line 1, column 1: this is no base64"},
    {"content of a boolean", "<true>no</true>", "line 1, column 1: a boolean has content"},
    {"unknown reference", "<string>&bogus;</string>", "line 1, column 9: undefined entity"},
    {"unknown reference beside a document type", R"(<!DOCTYPE plist SYSTEM "x"><string>a&bogus;b</string>)",
     "line 1, column 37: an unknown reference &bogus;"},
    {"references that grow",
     R"(<!DOCTYPE plist [<!ENTITY a "&b;&b;"><!ENTITY b "&a;">]><string>&a;</string>)",
     "line 1, column 65: recursive entity reference"},
    {"reference to a surrogate", "<string>&#xD800;</string>",
     "line 1, column 9: reference to invalid character number"},
    {"lonely ampersand", "<string>a & b</string>", "line 1, column 12: not well-formed (invalid token)"},
    {"no UTF-8", "<string>ä\xFF</string>", "line 1, column 10: the text is not valid UTF-8"},
};

TEST(PropertyList, faultsInXMLAreNamedWithTheirPlace) {
  for (const FaultCase& c : faults) {
    EXPECT_EQ(thrownError(NSPropertyListReadCorruptError, [&] { (void)readText(c.text); }),
              "Invalid property list at " + std::string(c.error))
        << c.row;
  }
}

std::string repeated(std::string_view text, std::size_t count) {
  std::string out;
  while (count-- > 0) out += text;
  return out;
}

TEST(PropertyList, nestingIsLimitedInBothDirections) {
  const std::string fits = repeated("<array>", 512) + repeated("</array>", 512);
  const Value deep = readText(fits);
  const Value tooDeep = Array{deep};
  for (const PropertyListFormat format : bothFormats) {
    EXPECT_EQ(copyOf(deep, format), deep);
    EXPECT_TRUE(thrownError(NSPropertyListWriteInvalidError, [&] {
                  (void)dataFromPropertyList(tooDeep, format);
                }).ends_with("cannot be written: it is nested deeper than 512 levels"));
  }
  EXPECT_EQ(
      thrownError(NSPropertyListReadCorruptError, [] { (void)readText(repeated("<array>", 1'000'000)); }),
      "Invalid property list at line 1, column 3585: values are nested deeper than 512 levels");
}

struct WriteErrorCase {
  const char* row;
  Value value;
  std::string_view error;
};

const WriteErrorCase unwritable[] = {
    {"nothing", {}, "The value cannot be written: it is nothing"},
    {"null", Array{1, NSNull()}, "The value at \"[1]\" cannot be written: it is null"},
    {"set", Dictionary{{"a", Set{1}}}, "The value at \"a\" cannot be written: it is a set"},
    {"error", Dictionary{{"a", Dictionary{{"b", NSError("A", 1)}}}},
     "The value at \"a.b\" cannot be written: it is an error"},
    {"key", Dictionary{{1, 2}}, "The value cannot be written: its key 1 is no text"},
    {"no UTF-8", Array{"a\xFF"}, "The value at \"[0]\" cannot be written: it is not valid UTF-8"},
};

TEST(PropertyList, whatItCannotHoldIsRefusedByItsKeyPath) {
  for (const WriteErrorCase& c : unwritable) {
    for (const PropertyListFormat format : bothFormats) {
      EXPECT_EQ(
          thrownError(NSPropertyListWriteInvalidError, [&] { (void)dataFromPropertyList(c.value, format); }),
          c.error)
          << c.row;
    }
  }
}

TEST(PropertyList, controlCharactersNeedTheBinaryForm) {
  const Value value = Dictionary{{"a", Array{"bell\a", "zero\0"sv}}};
  EXPECT_EQ(copyOf(value, PropertyListFormat::binary), value);
  EXPECT_EQ(thrownError(NSPropertyListWriteInvalidError,
                        [&] { (void)dataFromPropertyList(value, PropertyListFormat::xml); }),
            "The value at \"a[0]\" cannot be written: XML cannot hold the control characters in it");
}

class PropertyListFile : public testing::Test {
protected:
  PropertyListFile() { std::filesystem::create_directories(folder_); }
  ~PropertyListFile() override { std::filesystem::remove_all(folder_); }

  [[nodiscard]] std::filesystem::path file(std::string_view content) const {
    std::ofstream(folder_ / "file.plist", std::ios::binary) << content;
    return folder_ / "file.plist";
  }

  std::filesystem::path folder_ =
      std::filesystem::temp_directory_path() / ("PropertyListTests-" + std::to_string(getpid()));
};

TEST_F(PropertyListFile, givesItsDictionary) {
  EXPECT_EQ(dictionaryFromPropertyListFile(file("<dict><key>a</key><true/></dict>")),
            (Dictionary{{"a", true}}));
}

TEST_F(PropertyListFile, failuresNameTheFileAndKeepTheCause) {
  std::optional<NSError> error;
  const auto path = file("<dict>");
  EXPECT_FALSE(dictionaryFromPropertyListFile(path, &error));
  EXPECT_EQ(error->code(), NSPropertyListReadCorruptError);
  EXPECT_EQ(error->localizedDescription(),
            "The file \"" + path.string() +
                "\" could not be read: Invalid property list at line 1, column 7: "
                "no element found");
  EXPECT_EQ(error->userInfo()[NSFilePathErrorKey], path.string());

  EXPECT_FALSE(dictionaryFromPropertyListFile(file("<array/>"), &error));
  EXPECT_TRUE(error->localizedDescription().ends_with("it holds no dictionary"));

  EXPECT_FALSE(dictionaryFromPropertyListFile(folder_ / "absent", &error));
  EXPECT_EQ(error->code(), NSFileReadNoSuchFileError);
  EXPECT_EQ(error->underlyingErrors().front().code(), ENOENT);

  EXPECT_FALSE(dictionaryFromPropertyListFile(folder_, &error));
  EXPECT_EQ(error->underlyingErrors().front().code(), EISDIR);
  EXPECT_FALSE(dictionaryFromPropertyListFile(folder_ / "absent"));
}

TEST_F(PropertyListFile, aPipeIsRefusedInsteadOfWaitedFor) {
  const auto pipe = folder_ / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  std::optional<NSError> error;
  EXPECT_FALSE(dictionaryFromPropertyListFile(pipe, &error));
  EXPECT_EQ(error->code(), NSFileReadUnknownError);
}

}  // namespace
}  // namespace QVFoundation
