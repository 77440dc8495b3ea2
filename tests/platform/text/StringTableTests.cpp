#include "QVFoundation/platform/text/StringTable.h"

#include <span>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "QVFoundation/platform/text/PropertyList.h"
#include "tests/platform/text/ThrownError.h"

namespace QVFoundation {
namespace {

using namespace std::string_literals;

Dictionary parse(std::string_view bytes) { return stringTableFromData(std::as_bytes(std::span(bytes))); }

struct TableCase {
  const char* row;
  std::string text;
  Dictionary table;
};

const TableCase tables[] = {
    {"empty", "", {}},
    {"comments alone", "/* a */ // b", {}},
    {"comments everywhere",
     "/**/\"a\"/* = */=//;\n\"b\"/***/;// \"c\";\r\"d\"=\"// no /* comment\" ; ",
     {{"a", "b"}, {"d", "// no /* comment"}}},
    {"words", "play = Wiedergabe;\nNS.a-b_c$1:/ = x;", {{"play", "Wiedergabe"}, {"NS.a-b_c$1:/", "x"}}},
    {"keys that stand for themselves", "\"OK\"; cancel;", {{"OK", "OK"}, {"cancel", "cancel"}}},
    {"single quotes", R"('a"' = 'it\'s';)", {{"a\"", "it's"}}},
    {"escapes", R"("a" = "\n\t\r\"\\\'\a\b\f\v\q\%\ä";)", {{"a", "\n\t\r\"\\'\a\b\f\vq%ä"}}},
    {"units", R"("a" = "\u00e4\U00E4\U20AC\Ud834\udd1ex";)", {{"a", "ää€𝄞x"}}},
    {"octal", R"("a" = "\101\1018\7\344";)", {{"a", "AA8\7ä"}}},
    {"line ends in texts", "\"a\" = \"one \\\ntwo \\\r\nthree\nfour\";", {{"a", "one two three\nfour"}}},
    {"equal keys", "a = b; a = c;", {{"a", "c"}}},
    {"byte order mark", "\xEF\xBB\xBF a = x;", {{"a", "x"}}},
    {"UTF-16 big-endian with a mark", "\xFE\xFF\0a\0=\0\"\x20\xAC\0\"\0;"s, {{"a", "€"}}},
    {"UTF-16 little-endian with a mark", "\xFF\xFE\x61\0=\0\"\0\xAC\x20\"\0;\0"s, {{"a", "€"}}},
    {"UTF-16 big-endian without", "\0a\0=\0\"\x20\xAC\0\"\0;"s, {{"a", "€"}}},
    {"UTF-16 little-endian without", "a\0=\0\"\0\xAC\x20\"\0;\0"s, {{"a", "€"}}},
    {"property list", "\n<plist><dict><key>a</key><string>b</string></dict></plist>", {{"a", "b"}}},
};

TEST(StringTable, isReadInEachForm) {
  for (const TableCase& c : tables) EXPECT_EQ(parse(c.text), c.table) << c.row;
  const Dictionary table{{"a", "ä"}};
  EXPECT_EQ(stringTableFromData(dataFromPropertyList(table, PropertyListFormat::binary)), table);
}

struct TableFault {
  std::string_view text, error;
};

constexpr TableFault tableFaults[] = {
    {"\"a\" = \"b\"\n\n\"c\" = \"d\";", " at line 3, column 1: expected ; after the entry of line 1"},
    {"a = b", " at line 1, column 6: expected ; after the entry of line 1"},
    {"a = ;", " at line 1, column 5: expected a text after ="},
    {"a = b;;", " at line 1, column 7: expected a key"},
    {"ä = b;", " at line 1, column 1: expected a key"},
    {"a = b;\n\"ä\" = \"c;\n", " at line 2, column 7: a text has no closing quote"},
    {"a = \"\\", " at line 1, column 5: a text has no closing quote"},
    {"a = b; /*/", " at line 1, column 8: a comment does not end"},
    {R"(a = "\U12g4";)", " at line 1, column 6: \\U needs four hexadecimal digits"},
    {R"(a = "\ud834";)", " at line 1, column 6: half of a surrogate pair"},
    {"a = \"ä\xE4\";", " at line 1, column 7: the text is not valid UTF-8"},
    {"<array/>", ": the property list holds no dictionary"},
    {"<dict><key>a</key><integer>1</integer></dict>", ": the entry \"a\" is no text"},
};

TEST(StringTable, faultsAreNamedWithTheirPlace) {
  for (const TableFault& c : tableFaults) {
    EXPECT_EQ(thrownError(NSPropertyListReadCorruptError, [&] { (void)parse(c.text); }),
              "Invalid string table" + std::string(c.error));
  }
}

TEST(StringTable, localizationTablesHoldOneTableForEachLanguage) {
  const Dictionary table{{"de", Dictionary{{"a", "ä"}}}, {"version", 1}};
  EXPECT_EQ(localizationInTable(table, "de"), (Dictionary{{"a", "ä"}}));
  EXPECT_TRUE(localizationInTable(table, "fr").empty());
  EXPECT_TRUE(localizationInTable(table, "version").empty());
}

}  // namespace
}  // namespace QVFoundation
