#include "QVFoundation/platform/serialization/StringTable.h"

#include <span>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "QVFoundation/platform/serialization/PropertyList.h"
#include "tests/platform/files/CommandOutput.h"
#include "tests/platform/files/TemporaryFolder.h"
#include "tests/platform/serialization/ThrownError.h"

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

// Writes tables in all their ways, and what they say as property lists.
constexpr const char* tableWriter = R"(
import os, plistlib, random, sys
random.seed(11)
alphabet = 'aZ09_ .%@:;={}/*äß€日\'"\\\n\t' + chr(0x1F600)
special = {'\n': 'n', '\t': 't', '"': '"', '\\': '\\', "'": "'"}
def escaped(character, quote):
    ways = [] if character in (quote, '\\') else [character]
    if character in special: ways.append('\\' + special[character])
    if ord(character) < 128: ways.append('\\%03o' % ord(character))
    units = character.encode('utf-16-be')
    ways.append(''.join('\\%s%04x' % (random.choice('uU'), units[i] << 8 | units[i + 1]) for i in range(0, len(units), 2)))
    return random.choice(ways[:1] * 8 + ways)
def written(text):
    if text and all(c.isascii() and c.isalnum() for c in text) and random.random() < .5: return text + ' '
    quote = random.choice('""\'')
    return quote + ''.join(escaped(c, quote) for c in text) + quote
blanks = [' ', '\n', '\t', '/* "a" = b; */', '// c = "d";\n', '']
for number in range(300):
    texts = [[''.join(random.choices(alphabet, k=random.randrange(1, 12))) for _ in range(2)] for _ in range(12)]
    table, lines = {}, ''
    for key, text in texts:
        between = [random.choice(blanks) for _ in range(4)]
        if random.random() < .1: text = key; lines += between[0] + written(key) + between[1] + ';'
        else: lines += between[0] + written(key) + between[1] + '=' + between[2] + written(text) + between[3] + ';'
        table[key] = text
    encoding = random.choice(['utf-8', 'utf-8-sig', 'utf-16'])
    open(os.path.join(sys.argv[1], '%d.strings' % number), 'wb').write(lines.encode(encoding))
    plistlib.dump(table, open(os.path.join(sys.argv[1], '%d.plist' % number), 'wb'))
)";

TEST(StringTable, saysWhatAnotherProgramHasWritten) {
  const testing::TemporaryFolder folder;
  testing::makeFile(folder / "write.py", tableWriter);
  testing::outputOf("python3 " + (folder / "write.py").string() + ' ' + folder.path().string());
  for (int number = 0; number < 300; ++number) {
    const std::string name = std::to_string(number);
    const auto expected = dictionaryFromPropertyListFile(folder / (name + ".plist"));
    std::optional<NSError> error;
    const auto table = stringTableFromFile(folder / (name + ".strings"), &error);
    ASSERT_TRUE(expected) << number;
    ASSERT_TRUE(table) << number << ": " << error->localizedDescription();
    EXPECT_EQ(*table, *expected) << number;
    EXPECT_EQ(stringTableFromFile(folder / (name + ".plist")), expected) << number;
  }
}

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
