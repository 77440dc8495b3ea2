#include "QVFoundation/platform/text/Format.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/text/NSLocale.h"
#include "QVFoundation/platform/text/Unicode.h"
#include "fuzz/Input.h"
#include "fuzz/Require.h"

// Any bytes as a format, with arguments of any kind. The first byte says how many arguments there are; eight
// bytes and one for the kind make each; the rest is the format.

namespace QVFoundation {

using fuzzing::Input;
using fuzzing::require;

namespace {

struct Track {
  std::string title;
  [[nodiscard]] std::string descriptionWithLocale(const NSLocale* locale, unsigned) const {
    return stringWithFormatArguments(locale, "<%@ %.2f>", std::vector<FormatArgument>{title, 1.5});
  }
};

/// Keeps what the arguments refer to.
struct Pool {
  const std::string valid = "Zoë 🎵 text";
  const std::string invalid = "a\xFF\xC3";
  const std::string large = std::string(700, 'x');
  const std::u16string wide = u"é🎵\xD83C";
  const std::shared_ptr<Track> track = std::make_shared<Track>(Track{"Air"});
  const std::shared_ptr<Track> noTrack;
  const std::optional<int> nothing;
  std::vector<std::unique_ptr<long double>> longs;

  // NOLINTNEXTLINE(readability-function-size): a table of kinds.
  FormatArgument argument(Input& input) {
    const auto kind = input.take<std::uint8_t>();
    const auto bits = input.take<std::int64_t>();
    double floating = 0;
    std::memcpy(&floating, &bits, sizeof floating);
    switch (kind % 24) {
      case 0: return (bits & 1) != 0;
      case 1: return static_cast<char>(bits);
      case 2: return static_cast<char16_t>(bits);
      case 3: return static_cast<char32_t>(bits);
      case 4: return static_cast<std::int8_t>(bits);
      case 5: return static_cast<std::uint8_t>(bits);
      case 6: return static_cast<std::int16_t>(bits);
      case 7: return static_cast<std::uint16_t>(bits);
      case 8: return static_cast<std::int32_t>(bits);
      case 9: return static_cast<std::uint32_t>(bits);
      case 10: return bits;
      case 11: return static_cast<std::uint64_t>(bits);
      case 12: return floating;
      case 13: return static_cast<float>(bits);
      case 14:
        longs.push_back(std::make_unique<long double>(static_cast<long double>(floating) * 3));
        return *longs.back();
      case 15: return valid;
      case 16: return valid.c_str();
      case 17: return invalid;
      case 18: return large;
      case 19: return wide;
      case 20: return track;
      case 21: return noTrack;
      case 22: return nothing;
      default: return this;
    }
  }
};

}  // namespace
}  // namespace QVFoundation

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace QVFoundation;
  static const NSLocale locale("xx", {"٫", "\u202F", {3, 2}});

  Input input(data, size);
  Pool pool;
  std::vector<FormatArgument> arguments(input.take<std::uint8_t>() % 8);
  for (FormatArgument& argument : arguments) argument = pool.argument(input);
  const std::string format(input.rest());

  std::string appended = "before";
  appendFormat(appended, nullptr, format, arguments);
  const std::string plain = stringWithFormatArguments(nullptr, format, arguments);
  const std::string localized = stringWithFormatArguments(&locale, format, arguments);

  require(appended == "before" + plain);
  // The longest directive: a long double with all its digits, in groups, or a width, with separators of
  // three bytes.
  const std::size_t directives = static_cast<std::size_t>(std::count(format.begin(), format.end(), '%'));
  require(plain.size() <= format.size() + directives * 10'000);
  require(localized.size() <= format.size() + directives * 40'000);
  if (directives == 0) require(plain == format && localized == format);
  const bool printsInvalid =
      std::find_if(arguments.begin(), arguments.end(), [&](const FormatArgument& argument) {
        return argument.kind() == FormatArgument::Kind::text && argument.text() == pool.invalid;
      }) != arguments.end();
  if (isValidUTF8(format) && !printsInvalid) require(isValidUTF8(plain) && isValidUTF8(localized));
  return 0;
}
