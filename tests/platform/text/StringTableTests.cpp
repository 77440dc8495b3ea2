#include "QVFoundation/platform/text/StringTable.h"

#include <span>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "QVFoundation/platform/text/PropertyList.h"
#include "QVFoundation/platform/text/Unicode.h"
#include "tests/platform/text/ThrownError.h"

namespace QVFoundation {
namespace {

using namespace std::string_literals;

Dictionary parse(std::string_view bytes) { return stringTableFromData(std::as_bytes(std::span(bytes))); }

/// ASCII and what follows it in the first plane, as UTF-16.
std::string utf16(std::string_view text, bool bigEndian) {
  std::string out;
  while (!text.empty()) {
    const DecodedCodePoint next = decodeUTF8(text);
    const char bytes[] = {static_cast<char>(next.codePoint >> 8), static_cast<char>(next.codePoint)};
    out += bytes[bigEndian ? 0 : 1];
    out += bytes[bigEndian ? 1 : 0];
    text.remove_prefix(next.length);
  }
  return out;
}

struct TableCase {
  const char* row;
  std::string text;
  Dictionary table;
};

const TableCase tables[] = {
    {"empty", "", {}},
    {"comments alone", "/* a */ // b", {}},
    {"entries", "\"a\" = \"b\";\n\"c\"=\"d\" ; ", {{"a", "b"}, {"c", "d"}}},
    {"comments everywhere",
     "/**/\"a\"/* = */=//;\n\"b\"/***/;// \"c\";\r\"d\"=\"// no /* comment\";",
     {{"a", "b"}, {"d", "// no /* comment"}}},
    {"words", "play = Wiedergabe;\nNS.a-b_c$1:/ = x;", {{"play", "Wiedergabe"}, {"NS.a-b_c$1:/", "x"}}},
    {"keys that stand for themselves", "\"OK\"; cancel;", {{"OK", "OK"}, {"cancel", "cancel"}}},
    {"single quotes", R"('a"' = 'it\'s';)", {{"a\"", "it's"}}},
    {"escapes", R"("a" = "\n\t\r\"\\\'\a\b\f\v\q\%";)", {{"a", "\n\t\r\"\\'\a\b\f\vq%"}}},
    {"units", R"("a" = "\u00e4\U00E4\U20AC\Ud834\udd1ex";)", {{"a", "ää€𝄞x"}}},
    {"octal", R"("a" = "\101\1018\7\344";)", {{"a", "AA8\7ä"}}},
    {"joined lines", "\"a\" = \"one \\\ntwo \\\r\nthree\";", {{"a", "one two three"}}},
    {"line ends in texts", "\"a\" = \"one\ntwo\";", {{"a", "one\ntwo"}}},
    {"escaped character beyond ASCII", "\"a\" = \"\\ä\";", {{"a", "ä"}}},
    {"equal keys", "a = b; a = c;", {{"a", "c"}}},
    {"byte order mark",
     "\xEF\xBB\xBF"
     "a = x;",
     {{"a", "x"}}},
    {"UTF-16 big-endian with a mark", utf16("\uFEFFa = \"ä€\";", true), {{"a", "ä€"}}},
    {"UTF-16 little-endian with a mark", utf16("\uFEFFa = \"ä€\";", false), {{"a", "ä€"}}},
    {"UTF-16 big-endian without", utf16("\"a\" = \"ä€\";", true), {{"a", "ä€"}}},
    {"UTF-16 little-endian without", utf16("\"a\" = \"ä€\";", false), {{"a", "ä€"}}},
    {"property list", "\n<plist><dict><key>a</key><string>b</string></dict></plist>", {{"a", "b"}}},
    {"property list in UTF-16", utf16("<dict><key>a</key><string>ä</string></dict>", false), {{"a", "ä"}}},
};

TEST(StringTable, isReadInEachForm) {
  for (const TableCase& c : tables) EXPECT_EQ(parse(c.text), c.table) << c.row;
}

TEST(StringTable, isReadAsABinaryPropertyList) {
  const Dictionary table{{"a", "ä"}};
  EXPECT_EQ(stringTableFromData(dataFromPropertyList(table, PropertyListFormat::binary)), table);
}

struct FaultCase {
  const char* row;
  std::string text;
  std::string_view error;
};

const FaultCase faults[] = {
    {"no semicolon", "\"a\" = \"b\"\n\n\"c\" = \"d\";",
     " at line 3, column 1: expected ; after the entry of line 1"},
    {"no semicolon at the end", "a = b", " at line 1, column 6: expected ; after the entry of line 1"},
    {"no text", "a = ;", " at line 1, column 5: expected a text after ="},
    {"no key", "= b;", " at line 1, column 1: expected a key"},
    {"nothing but a semicolon", "a = b;;", " at line 1, column 7: expected a key"},
    {"word beyond ASCII", "ä = b;", " at line 1, column 1: expected a key"},
    {"no closing quote", "a = b;\n\"ä\" = \"c;\n", " at line 2, column 7: a text has no closing quote"},
    {"escape at the end", "a = \"\\", " at line 1, column 5: a text has no closing quote"},
    {"comment without an end", "a = b; /*/", " at line 1, column 8: a comment does not end"},
    {"three digits", R"(a = "\U12g4";)", " at line 1, column 6: \\U needs four hexadecimal digits"},
    {"half a pair", R"(a = "\ud834";)", " at line 1, column 6: half of a surrogate pair"},
    {"not UTF-8", "a = \"ä\xE4\";", " at line 1, column 7: the text is not valid UTF-8"},
    {"array", "<array/>", ": the property list holds no dictionary"},
    {"number", "<dict><key>a</key><integer>1</integer></dict>", ": the entry \"a\" is no text"},
};

TEST(StringTable, faultsAreNamedWithTheirPlace) {
  for (const FaultCase& c : faults) {
    EXPECT_EQ(thrownError(NSPropertyListReadCorruptError, [&] { (void)parse(c.text); }),
              "Invalid string table" + std::string(c.error))
        << c.row;
  }
}

TEST(StringTable, localizationTablesHoldOneTableForEachLanguage) {
  const Dictionary table{{"de", Dictionary{{"a", "ä"}}}, {"en", Dictionary{{"a", "a"}}}, {"version", 1}};
  EXPECT_EQ(localizationInTable(table, "de"), (Dictionary{{"a", "ä"}}));
  EXPECT_TRUE(localizationInTable(table, "fr").empty());
  EXPECT_TRUE(localizationInTable(table, "version").empty());
}

}  // namespace
}  // namespace QVFoundation
