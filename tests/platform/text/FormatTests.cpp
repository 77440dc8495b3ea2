#include "QVFoundation/platform/text/Format.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace QVFoundation {
namespace {

struct FormatCase {
  const char* row;
  std::string_view format;
  std::string_view want;
};

// The arguments of these cases are 1, "two" and 3.5.
constexpr FormatCase strangeFormats[] = {
    {"empty", "", ""},
    {"only text", "no directive", "no directive"},
    {"trailing percent", "100%", "100%"},
    {"percent before a word", "100% winner, 100%", "100% winner, 100%"},
    {"percent signs", "%%%d%%%%", "%1%%"},
    {"percent sign with a width", "[%5%|%-5%]", "[%|%]"},
    {"unknown conversion", "%k %d", "%k 1"},
    {"unknown conversion after all else", "%2$-08.3llk %d", "%2$-08.3llk 1"},
    {"unknown conversion takes no width", "%*k %d", "%*k 1"},
    {"unfinished", "%d %-08.3l", "1 %-08.3l"},
    {"no character is split", "%é %d", "%é 1"},
    {"%n writes nothing and takes nothing", "%n%hhn %d", "%n%hhn 1"},
    {"zero is no place", "%0$d %d", "%0$d 1"},
    {"percent after an unfinished one", "%-%d", "%d"},
    {"missing", "%d %@ %f %d %5s", "1 two 3.500000 (missing) (missing)"},
    {"missing is never cut", "%4$.3@", "(missing)"},
    {"missing has a width", "[%4$12@]", "[   (missing)]"},
    {"missing width", "[%4$*9$d|%1$*9$d]", "[(missing)|1]"},
    {"width that is text", "[%3$*2$@|%2$.*2$@]", "[3.5|two]"},
    {"place far away", "%4294967297$d %99999999999999999999$d", "(missing) (missing)"},
    {"numbered ones do not count", "%2$@ %@ %2$@ %@", "two 1 two two"},
    {"surplus", "%d", "1"},
    {"precision of a sign only", "[%.-5d]", "[%.-5d]"},
    {"flags in any number", "%000000+++++++5d", "+0001"},
};

TEST(Format, strangeFormatsDoNoHarm) {
  for (const FormatCase& c : strangeFormats) {
    EXPECT_EQ(stringWithFormat(c.format, 1, "two", 3.5), c.want) << c.row;
  }
}

TEST(Format, formatMayHoldZeros) {
  using namespace std::string_view_literals;
  EXPECT_EQ(stringWithFormat("a\0%d\0%"sv, 1), "a\0001\0%"sv);
}

TEST(Format, hugeWidthsAndPrecisionsAreBounded) {
  constexpr std::size_t bound = 4096;
  EXPECT_EQ(stringWithFormat("%999999999d", 1).size(), bound);
  EXPECT_EQ(stringWithFormat("%.999999999d", 1).size(), bound);
  EXPECT_EQ(stringWithFormat("%-99999999999999999999@|", "x").size(), bound + 1);
  EXPECT_EQ(stringWithFormat("%*d", INT64_MAX, 1).size(), bound);
  EXPECT_EQ(stringWithFormat("%*d", INT64_MIN, 1).size(), bound);
  EXPECT_EQ(stringWithFormat("%*d", UINT64_MAX, 1).size(), bound);
  EXPECT_EQ(stringWithFormat("%.*f", INT32_MAX, 0.5).size(), bound + 2);
  EXPECT_EQ(stringWithFormat("%.2147483647f", 1.5L).size(), bound + 2);
  EXPECT_EQ(stringWithFormat("%.2147483648e", 1.5).size(), bound + 6);
}

TEST(Format, precisionMayBeLongerThanAnyNumberForText) {
  const std::string text(10'000, 'x');
  EXPECT_EQ(stringWithFormat("%.5000s", text).size(), 5000U);
  EXPECT_EQ(stringWithFormat("%.99999999999s", text), text);
}

TEST(Format, widthsAndPrecisionsCountCodePoints) {
  EXPECT_EQ(stringWithFormat("[%6s|%-6s]", "Zoë", "Zoë"), "[   Zoë|Zoë   ]");
  EXPECT_EQ(stringWithFormat("[%.3s|%.2s|%.0s]", "Zoë", "Zoë", "Zoë"), "[Zoë|Zo|]");
  EXPECT_EQ(stringWithFormat("[%5.1@]", "🎵🎶"), "[    🎵]");
}

TEST(Format, textThatIsNoUTF8PassesUnchanged) {
  constexpr std::string_view broken = "a\xFF\xC3";
  EXPECT_EQ(stringWithFormat("%@", broken), broken);
  EXPECT_EQ(stringWithFormat("%5@", broken), "  " + std::string(broken));
  EXPECT_EQ(stringWithFormat("%.2@", broken), broken.substr(0, 2));
}

// The pieces go through a buffer of fixed size on their way.
TEST(Format, piecesOfAnySizeKeepTheirOrder) {
  for (const std::size_t size : {0UL, 1UL, 100UL, 500UL, 511UL, 512UL, 513UL, 2000UL}) {
    const std::string text(size, 'x');
    std::string format = text;
    std::string want = text;
    format += "%d%@%c%5d>";
    want += '7';
    want += text;
    want += "!    8>";
    EXPECT_EQ(stringWithFormat(format, 7, text, '!', 8), want) << size;
  }
}

TEST(Format, appendingKeepsWhatIsThere) {
  std::string out = "before ";
  const std::array<FormatArgument, 2> arguments{1, "two"};
  appendFormat(out, nullptr, "%d %@", arguments);
  appendFormat(out, nullptr, "!", {});
  EXPECT_EQ(out, "before 1 two!");
}

TEST(Format, argumentsMayComeAsAList) {
  const int numbers[] = {1, 2, 3};
  const std::vector<FormatArgument> arguments(std::begin(numbers), std::end(numbers));
  EXPECT_EQ(stringWithFormatArguments(nullptr, "%3$d%2$d%1$d", arguments), "321");
}

}  // namespace
}  // namespace QVFoundation
