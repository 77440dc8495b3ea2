#include "QVFoundation/platform/text/Format.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

#include <gtest/gtest.h>

#include "QVFoundation/platform/text/NSLocale.h"

namespace QVFoundation {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

template <class... Args>
std::string f(std::string_view format, const Args&... args) {
  return stringWithFormat(format, args...);
}

struct Row {
  const char* row;
  std::string got, want;
};

void expectAll(std::initializer_list<Row> rows) {
  for (const Row& row : rows) EXPECT_EQ(row.got, row.want) << row.row;
}

struct FormatCase {
  const char* row;
  std::string_view format, want;
};

// The arguments of these cases are 1, "two" and 3.5.
constexpr FormatCase strangeFormats[] = {
    {"percent before a word", "100% winner, 100%", "100% winner, 100%"},
    {"percent signs", "%%%d%%%% [%5%|%-5%] %-%", "%1%% [%|%] %"},
    {"unknown conversion after all else", "%2$-08.3llk %d", "%2$-08.3llk 1"},
    {"unknown conversion takes no width", "%*k %d", "%*k 1"},
    {"unfinished", "%d %-08.3l", "1 %-08.3l"},
    {"no character is split", "%é %d", "%é 1"},
    {"%n writes nothing and takes nothing", "%n%hhn %d", "%n%hhn 1"},
    {"zero is no place", "%0$d %d", "%0$d 1"},
    {"missing", "%d %@ %f %d %4$.3@ [%12s]", "1 two 3.500000 (missing) (missing) [   (missing)]"},
    {"missing width", "[%4$*9$d|%1$*9$d]", "[(missing)|1]"},
    {"width that is text", "[%3$*2$@|%2$.*2$@]", "[3.5|two]"},
    {"place far away", "%4294967297$d %99999999999999999999$d", "(missing) (missing)"},
    {"numbered ones do not count", "%2$@ %@ %2$@ %@", "two 1 two two"},
    {"precision of a sign only", "[%.-5d]", "[%.-5d]"},
    {"flags in any number", "%000000+++++++5d", "+0001"},
    {"zeros", "a\0%d\0%"sv, "a\0001\0%"sv},
};

TEST(Format, strangeFormatsDoNoHarm) {
  for (const FormatCase& c : strangeFormats) EXPECT_EQ(f(c.format, 1, "two", 3.5), c.want) << c.row;
}

TEST(Format, hugeWidthsAndPrecisionsAreBounded) {
  constexpr std::size_t bound = 4096;
  EXPECT_EQ(f("%999999999d", 1).size(), bound);
  EXPECT_EQ(f("%-99999999999999999999@|", "x").size(), bound + 1);
  EXPECT_EQ(f("%*d%*d%*d", INT64_MAX, 1, INT64_MIN, 1, UINT64_MAX, 1).size(), 3 * bound);
  EXPECT_EQ(f("%.999999999d", 1).size(), bound);
  EXPECT_EQ(f("%.*f %.2147483647f", INT32_MAX, 0.5, 1.5L).size(), 2 * (bound + 2) + 1);
  EXPECT_EQ(f("%.2147483648e", 1.5).size(), bound + 6);
  EXPECT_EQ(f("%.5000s", std::string(10'000, 'x')).size(), 5000U) << "texts may be longer than any number";
}

// The pieces go through a buffer of fixed size on their way.
TEST(Format, piecesOfAnySizeKeepTheirOrder) {
  for (const std::size_t size : {0UL, 1UL, 500UL, 511UL, 512UL, 513UL, 2000UL}) {
    const std::string text(size, 'x');
    EXPECT_EQ(f(text + "%d%@%c%5d>", 7, text, '!', 8), std::string(text).append("7" + text + "!    8>"));
  }
}

TEST(Format, theTypeOfAnArgumentDecidesNotTheConversion) {
  constexpr std::int64_t big = -5'000'000'000;
  expectAll({
      {"decimal", f("%d %hhd %d", big, big, UINT64_MAX), "-5000000000 -5000000000 18446744073709551615"},
      {"hexadecimal", f("%x %04hX %x", std::int8_t{-1}, std::int16_t{-2}, -1L), "ff FFFE ffffffffffffffff"},
      {"unsigned", f("%u %+d", std::int8_t{-1}, 5U), "255 +5"},
      {"integer under %f", f("%.1f %.1f", 3, INT64_MAX), "3.0 9223372036854775807.0"},
      {"large unsigned under %f", f("%.0f", UINT64_MAX), "18446744073709551615"},
      {"number in another type", f("%d %x %d %@ %d", 'A', 'A', std::byte{7}, std::byte{7}, true),
       "65 41 7 7 1"},
      {"integer under %p", f("%p", 255), "255"},
      {"integer under %s", f("%s %.1s [%6s|%-6s]", -12, 12, 12, 12), "-12 12 [    12|12    ]"},
      {"text", f("%d %.1f %c %p [%05d]", "text", "text", "text", "text"s, "ab"),
       "text text text text [   ab]"},
      {"floating", f("%d %x %c %.1@", 2.75, -2.75, 2.75, 3.75), "2.75 -2.75 2.75 3.75"},
      {"floating with flags", f("%6d|%06d|%+d", 2.5, 2.5, 2.5), "   2.5|0002.5|+2.5"},
      {"others", f("%c %d", true, nullptr), "1 (null)"},
      {"address", f("%d", &big), f("%p", &big)},
  });
}

TEST(Format, anythingPrintsUnderTheObjectPlaceholder) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  const char buffer[8] = "part";
  const char unterminated[3] = {'a', 'b', 'c'};
  expectAll({
      {"integers", f("%@ %@ %@ %@ %@", 1, -2L, 3ULL, true, 'x'), "1 -2 3 1 x"},
      {"doubles", f("%@ %@ %@ %@ %@", 0.1, 1.0 / 3, -0.0, 5.0, -infinity),
       "0.1 0.3333333333333333 -0 5 -inf"},
      {"large and small", f("%@ %@ %@ %@", 1e5, 1e16, 1e-5, 0.1F), "100000 1e+16 1e-05 0.1"},
      {"texts", f("%@ %@ %@ [%@]", "a", "b"s, "c..."sv.substr(0, 1), std::string_view()), "a b c []"},
      {"text with a zero", f("%@", "a\0b"sv), "a\0b"s},
      {"buffers", f("%@ %@", buffer, unterminated), "part abc"},
      {"encodings", f("%@ %@ %@ %S %@", u8"é", u"é🎵", U"é🎵", L"é🎵", std::wstring(L"é🎵")),
       "é é🎵 é🎵 é🎵 é🎵"},
      {"no UTF-8", f("%@ %5@ %.2@", "a\xFF\xC3", "a\xFF\xC3", "a\xFF\xC3"), "a\xFF\xC3   a\xFF\xC3 a\xFF"},
      {"path", f("%@", std::filesystem::path("/a b/c")), "/a b/c"},
      {"null text", f("%@ %s", static_cast<const char*>(nullptr), nullptr), "(null) (null)"},
  });
}

TEST(Format, charactersAreCodePoints) {
  expectAll({
      {"valid", f("%c%c%c%c%c", 'a', U'é', U'€', 0x1F3B5, 0), "aé€🎵\0"s},
      {"a byte of a longer one", f("%c", '\xC3'), "\uFFFD"},
      {"others", f("%c%c%c%c", 0xD800, 0x110000, INT64_MAX, -1), "\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"widths", f("[%3c|%-3c|%6s|%-6s]", U'é', U'é', "Zoë", "Zoë"), "[  é|é  |   Zoë|Zoë   ]"},
      {"precisions", f("[%.3s|%.2s|%.0s|%5.1@]", "Zoë", "Zoë", "Zoë", "🎵🎶"), "[Zoë|Zo||    🎵]"},
  });
}

struct Track {
  std::string title;
  [[nodiscard]] std::string description() const { return '<' + title + '>'; }
};

struct Everything : std::runtime_error {
  Everything() : std::runtime_error("what") {}
  [[nodiscard]] static std::string descriptionWithLocale(const NSLocale* locale, unsigned indent) {
    return (locale == nullptr ? "without " : "with ") + std::to_string(indent);
  }
  [[nodiscard]] static std::string description() { return "description"; }
};

struct Localized {
  [[nodiscard]] static std::string description(const NSLocale* locale = nullptr) {
    return locale == nullptr ? "without" : "with";
  }
};

struct Configurable {
  [[nodiscard]] static std::string description(bool isVerbose = false) {
    return isVerbose ? "long" : "short";
  }
};

struct Nested {
  [[nodiscard]] static std::string description() { return f("%d in %@", 1, "inner"); }
};

TEST(Format, objectsDescribeThemselves) {
  const Track track{"Air"};
  const FormatArgument plain(&track, [](std::string& out, const void* object, const NSLocale*) {
    out += static_cast<const Track*>(object)->title;
  });
  const FormatArgument thrower(&track,
                               [](std::string&, const void*, const NSLocale*) { throw Everything(); });
  EXPECT_THROW((void)f("%@", thrower), Everything);
  expectAll({
      {"any conversion", f("%@ %s %d [%5@]", track, track, track, plain), "<Air> <Air> <Air> [  Air]"},
      {"width", f("%8@|%-8@|%.3@|%6.3s", track, track, track, track), "   <Air>|<Air>   |<Ai|   <Ai"},
      {"most telling member first", f("%@ %@", Everything(), Localized()), "without 0 without"},
      {"locale handed on", localizedStringWithFormat("%@ %@", Everything(), Localized()), "with 0 with"},
      {"setting that is no locale", localizedStringWithFormat("%@", Configurable()), "short"},
      {"streamed", f("%@", std::error_code(12345, std::generic_category())), "generic:12345"},
      {"exception", f("%@", std::out_of_range("too far")), "too far"},
      {"formatting in turn", f("%@ and %@", Nested(), 2), "1 in inner and 2"},
  });
}

struct Opaque;

TEST(Format, pointersStandForTheirObjects) {
  const auto shared = std::make_shared<Track>("Air");
  const auto unique = std::make_unique<Track>("Gigue");
  const std::string text = "text";
  const auto* const opaque = reinterpret_cast<const Opaque*>(&text);
  const auto addressOf = [](const void* address) { return f("%p", address); };
  const std::shared_ptr<Track> none;
  expectAll({
      {"objects", f("%@ %@ %@ %@", shared, unique, shared.get(), &text), "<Air> <Gigue> <Air> text"},
      {"addresses", f("%p %@", &text, opaque), addressOf(&text) + ' ' + addressOf(&text)},
      {"address of characters", f("%p", text.c_str()), addressOf(text.data())},
      {"absent", f("%@ %@ %p %p", none, none.get(), none, nullptr), "(null) (null) 0x0 0x0"},
      {"nothing is never cut", f("[%.2@|%8s]", nullptr, nullptr), "[(null)|  (null)]"},
      {"optionals", f("%@ %d", std::optional(shared), std::optional(5)), "<Air> 5"},
      {"empty optionals", f("%@ %d", std::optional<Track>(), std::optional<int>()), "(null) (null)"},
  });
}

template <class... Args>
std::string in(const NSLocale& locale, std::string_view format, const Args&... args) {
  return stringWithFormatArguments(&locale, format, std::array<FormatArgument, sizeof...(Args)>{args...});
}

TEST(Format, localesChangeTheDecimalSeparatorAndGroupWhereTheFormatAsks) {
  const NSLocale german("de_DE", {",", ".", {3}});
  const NSLocale french("fr_FR", {",", "\u202F", {3}});
  const NSLocale indian("en_IN", {".", ",", {3, 2}});
  const NSLocale once("xx", {".", "'", {3, 0}});
  expectAll({
      {"decimals", in(german, "%.2f %.2e %g %@ %.1f", 2.254, 31415.9, 0.5, 0.25, 3),
       "2,25 3,14e+04 0,5 0,25 3,0"},
      {"separator without decimals", in(german, "%#.0f", 3.0), "3,"},
      {"nothing else", in(german, "%d %f %@ 1.5", 1234567, HUGE_VAL, "2.5"), "1234567 inf 2.5 1.5"},
      {"integers", in(german, "%'d %'d %'d %'d", 1234567, -123456, 999, 1000),
       "1.234.567 -123.456 999 1.000"},
      {"floating", in(german, "%'.2f %'@ %.1f", 1234567.891, 1234567.5, 1234.5),
       "1.234.567,89 1.234.567,5 1234,5"},
      {"two sizes", in(indian, "%'d", 123456789), "12,34,56,789"},
      {"one group only", in(once, "%'d", 123456789), "123456'789"},
      {"width in characters", in(french, "[%'9d|%-'7d]", 123456, 1234), "[  123\u202F456|1\u202F234  ]"},
      {"zeros", in(german, "%'.7d %'010d", 1234, 1234567), "0.001.234 01.234.567"},
      {"never", in(german, "%'x %'e", 0xFFFFFF, 1234567.0), "ffffff 1,234567e+06"},
      {"no locale", f("%'d", 1234567), "1234567"},
      {"system locale", in(NSLocale::system(), "%'d %.1f", 1234567, 0.5), "1234567 0.5"},
  });
}

}  // namespace
}  // namespace QVFoundation
