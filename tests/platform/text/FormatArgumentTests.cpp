#include "QVFoundation/platform/text/Format.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include <gtest/gtest.h>

namespace QVFoundation {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

struct Row {
  const char* row;
  std::string got;
  std::string want;
};

template <std::size_t size>
void expectAll(const Row (&rows)[size]) {
  for (const Row& row : rows) EXPECT_EQ(row.got, row.want) << row.row;
}

TEST(FormatArgument, ownTypeDecidesNotTheConversion) {
  constexpr std::int64_t big = -5'000'000'000;
  expectAll({
      {"64 bits under %d", stringWithFormat("%d", big), "-5000000000"},
      {"unsigned under %d", stringWithFormat("%d", UINT64_MAX), "18446744073709551615"},
      {"lengths mean nothing", stringWithFormat("%hhd %hd", big, 70'000), "-5000000000 70000"},
      {"hexadecimal in 8 bits", stringWithFormat("%x", std::int8_t{-1}), "ff"},
      {"hexadecimal in 16 bits", stringWithFormat("%04hX", std::int16_t{-2}), "FFFE"},
      {"hexadecimal in 64 bits", stringWithFormat("%x", std::int64_t{-1}), "ffffffffffffffff"},
      {"unsigned in 8 bits", stringWithFormat("%u", std::int8_t{-1}), "255"},
      {"sign of unsigned", stringWithFormat("%+d", 5U), "+5"},
      {"integer under %f", stringWithFormat("%.1f", 3), "3.0"},
      {"exact integer under %f", stringWithFormat("%.1f", INT64_MAX), "9223372036854775807.0"},
      {"exact unsigned under %f", stringWithFormat("%.0f", UINT64_MAX), "18446744073709551615"},
      {"long double under %f", stringWithFormat("%.2f", 2.5L), "2.50"},
      {"number of a character", stringWithFormat("%d %x", 'A', 'A'), "65 41"},
      {"number of an enumerator", stringWithFormat("%d %@", std::byte{7}, std::byte{7}), "7 7"},
      {"number of a bool", stringWithFormat("%d %x", true, false), "1 0"},
      {"integer under %p", stringWithFormat("%p", 255), "255"},
  });
}

TEST(FormatArgument, whatDoesNotFitIsPrintedAsItIs) {
  const int target = 0;
  const std::string address = stringWithFormat("%p", &target);
  expectAll({
      {"text under %d", stringWithFormat("%d", "text"), "text"},
      {"text under %05d", stringWithFormat("%05d", "ab"), "   ab"},
      {"text under %.1f keeps its end", stringWithFormat("%.1f", "text"), "text"},
      {"text under %c", stringWithFormat("%c", "text"), "text"},
      {"string under %p", stringWithFormat("%p", std::string("text")), "text"},
      {"integer under %s", stringWithFormat("%s", -12), "-12"},
      {"numbers are never cut", stringWithFormat("%.1s %.1@", 12, 3.75), "12 3.75"},
      {"number under %6s", stringWithFormat("%6s|%-6s|", 12, 12), "    12|12    |"},
      {"floating under %d", stringWithFormat("%d", 2.75), "2.75"},
      {"floating under %x", stringWithFormat("%x", -2.75), "-2.75"},
      {"floating under %c", stringWithFormat("%c", 2.75), "2.75"},
      {"floating under %5d", stringWithFormat("%6d|%06d|%+d", 2.5, 2.5, 2.5), "   2.5|0002.5|+2.5"},
      {"bool under %c", stringWithFormat("%c", true), "1"},
      {"pointer under %d", stringWithFormat("%d", &target), address},
      {"nothing under %d", stringWithFormat("%d", nullptr), "(null)"},
  });
}

TEST(FormatArgument, anythingPrintsUnderTheObjectPlaceholder) {
  using namespace std::string_literals;
  using namespace std::string_view_literals;
  std::array<char, 4> full = {'f', 'u', 'l', 'l'};
  char buffer[8] = "part";
  expectAll({
      {"integers", stringWithFormat("%@ %@ %@", 1, -2L, 3ULL), "1 -2 3"},
      {"bool", stringWithFormat("%@ %@", true, false), "1 0"},
      {"character", stringWithFormat("%@", 'x'), "x"},
      {"double", stringWithFormat("%@ %@ %@", 0.1, 1.0 / 3, -0.0), "0.1 0.3333333333333333 -0"},
      {"float", stringWithFormat("%@", 0.1F), "0.1"},
      {"round double", stringWithFormat("%@ %@", 5.0, 100000.0), "5 100000"},
      {"large and small doubles", stringWithFormat("%@ %@", 1e16, 0.00001), "1e+16 1e-05"},
      {"infinite", stringWithFormat("%@ %@", infinity, -infinity), "inf -inf"},
      {"literal", stringWithFormat("%@", "text"), "text"},
      {"string", stringWithFormat("%@", "text"s), "text"},
      {"view", stringWithFormat("%@", "longer text"sv.substr(7)), "text"},
      {"empty view", stringWithFormat("[%@]", std::string_view()), "[]"},
      {"text with a zero", stringWithFormat("%@", "a\0b"sv), "a\0b"s},
      {"buffer", stringWithFormat("%@", buffer), "part"},
      {"full buffer", stringWithFormat("%@", std::string_view(full.data(), full.size())), "full"},
      {"u8 text", stringWithFormat("%@", u8"é"), "é"},
      {"u16 text", stringWithFormat("%@", u"é🎵"), "é🎵"},
      {"u32 text", stringWithFormat("%@", U"é🎵"), "é🎵"},
      {"wide text", stringWithFormat("%S", L"é🎵"), "é🎵"},
      {"wide string", stringWithFormat("%@", std::wstring(L"é🎵")), "é🎵"},
      {"path", stringWithFormat("%@", std::filesystem::path("/a b/c")), "/a b/c"},
      {"null text", stringWithFormat("%@ %s", static_cast<const char*>(nullptr), nullptr), "(null) (null)"},
  });
}

TEST(FormatArgument, bufferWithoutAZeroIsReadToItsEndOnly) {
  const char unterminated[3] = {'a', 'b', 'c'};
  EXPECT_EQ(stringWithFormat("%@", unterminated), "abc");
}

TEST(FormatArgument, charactersAreCodePoints) {
  expectAll({
      {"char", stringWithFormat("%c", 'a'), "a"},
      {"code points", stringWithFormat("%c%c%c", U'é', U'€', 0x1F3B5), "é€🎵"},
      {"zero", stringWithFormat("%c", 0), std::string(1, '\0')},
      {"byte of a longer character", stringWithFormat("%c", '\xC3'), "\uFFFD"},
      {"surrogate", stringWithFormat("%c", 0xD800), "\uFFFD"},
      {"too large", stringWithFormat("%c%c", 0x110000, INT64_MAX), "\uFFFD\uFFFD"},
      {"negative", stringWithFormat("%c", -1), "\uFFFD"},
      {"width", stringWithFormat("[%3c|%-3c]", U'é', U'é'), "[  é|é  ]"},
  });
}

class Track {
public:
  explicit Track(std::string title) : title_(std::move(title)) {}
  [[nodiscard]] std::string description() const { return '<' + title_ + '>'; }

private:
  std::string title_;
};

struct Everything : std::runtime_error {
  Everything() : std::runtime_error("what") {}
  [[nodiscard]] std::string descriptionWithLocale(const NSLocale* locale, unsigned indent) const {
    return "locale " + std::string(locale == nullptr ? "none" : "some") + ", indent " +
           std::to_string(indent);
  }
  [[nodiscard]] std::string description() const { return "description"; }
};

struct Localized {
  [[nodiscard]] std::string description(const NSLocale* locale = nullptr) const {
    return locale == nullptr ? "none" : "some";
  }
};

struct Configurable {
  [[nodiscard]] std::string description(bool isVerbose = false) const {
    return isVerbose ? "verbose" : "terse";
  }
};

struct Point {
  double x, y;
  friend std::ostream& operator<<(std::ostream& out, const Point& point) {
    return out << '(' << point.x << ", " << point.y << ')';
  }
};

struct Opaque;

TEST(FormatArgument, objectsDescribeThemselves) {
  const Track track("Air");
  expectAll({
      {"description", stringWithFormat("%@", track), "<Air>"},
      {"under another conversion", stringWithFormat("%s %d", track, track), "<Air> <Air>"},
      {"most telling member first", stringWithFormat("%@", Everything()), "locale none, indent 0"},
      {"locale handed on", localizedStringWithFormat("%@ %@", Everything(), Localized()),
       "locale some, indent 0 some"},
      {"without a locale", stringWithFormat("%@", Localized()), "none"},
      {"setting that is no locale", localizedStringWithFormat("%@", Configurable()), "terse"},
      {"streamed", stringWithFormat("%@", Point{1.5, 1e6}), "(1.5, 1e+06)"},
      {"exception", stringWithFormat("%@", std::out_of_range("too far")), "too far"},
      {"width", stringWithFormat("[%8@|%-8@]", track, track), "[   <Air>|<Air>   ]"},
      {"precision", stringWithFormat("[%.3@|%6.3s]", track, track), "[<Ai|   <Ai]"},
  });
}

TEST(FormatArgument, pointersStandForTheirObjects) {
  const auto shared = std::make_shared<Track>("Air");
  const auto unique = std::make_unique<Track>("Gigue");
  const std::string text = "text";
  const auto* const opaque = reinterpret_cast<const Opaque*>(&text);
  const auto addressOf = [](const void* address) { return stringWithFormat("%p", address); };
  expectAll({
      {"shared", stringWithFormat("%@", shared), "<Air>"},
      {"unique", stringWithFormat("%@", unique), "<Gigue>"},
      {"raw", stringWithFormat("%@", shared.get()), "<Air>"},
      {"pointer to string", stringWithFormat("%@", &text), "text"},
      {"address of a shared object", stringWithFormat("%p", shared), addressOf(shared.get())},
      {"address of an object", stringWithFormat("%p", &text), addressOf(&text)},
      {"address of an array of characters", stringWithFormat("%p", text.c_str()), addressOf(text.data())},
      {"declared class", stringWithFormat("%@", opaque), addressOf(opaque)},
      {"absent", stringWithFormat("%@ %@", std::shared_ptr<Track>(), static_cast<Track*>(nullptr)),
       "(null) (null)"},
      {"address of nothing", stringWithFormat("%p %p", nullptr, std::shared_ptr<Track>()), "0x0 0x0"},
      {"nothing is never cut", stringWithFormat("[%.2@|%8s]", nullptr, nullptr), "[(null)|  (null)]"},
      {"optional", stringWithFormat("%@ %d", std::optional(Track("Aria")), std::optional(5)), "<Aria> 5"},
      {"empty optional", stringWithFormat("%@ %d", std::optional<std::string>(), std::optional<int>()),
       "(null) (null)"},
      {"optional pointer", stringWithFormat("%@", std::optional(shared)), "<Air>"},
  });
}

TEST(FormatArgument, classThatSaysNothingCanBePrintedByAFunction) {
  const int count = 3;
  const FormatArgument argument(&count, [](std::string& out, const void* object, const NSLocale*) {
    out.append(static_cast<std::size_t>(*static_cast<const int*>(object)), '*');
  });
  EXPECT_EQ(stringWithFormat("[%5@]", argument), "[  ***]");
}

struct Thrower {
  [[nodiscard]] static std::string description() { throw std::runtime_error("no description"); }
};

TEST(FormatArgument, exceptionOfADescriptionReachesTheCaller) {
  EXPECT_THROW(static_cast<void>(stringWithFormat("%@", Thrower())), std::runtime_error);
}

struct Nested {
  [[nodiscard]] static std::string description() { return stringWithFormat("%d in %@", 1, "inner"); }
};

TEST(FormatArgument, descriptionMayFormatInTurn) {
  EXPECT_EQ(stringWithFormat("%@ and %@", Nested(), 2), "1 in inner and 2");
}

}  // namespace
}  // namespace QVFoundation
