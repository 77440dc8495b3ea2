#include "QVFoundation/platform/text/MacOSRoman.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "QVFoundation/platform/text/Unicode.h"
#include "fuzz/Require.h"

using namespace QVFoundation;
using fuzzing::require;

namespace {

void checkBytes(std::span<const std::byte> bytes) {
  const std::string text = stringFromMacOSRoman(bytes);
  require(isValidUTF8(text));
  const auto again = macOSRomanFromString(text);
  require(again && std::ranges::equal(*again, bytes));
}

void checkText(std::string_view text) {
  const auto bytes = macOSRomanFromString(text);
  if (bytes) require(stringFromMacOSRoman(*bytes) == text);
  for (const std::size_t room : {std::size_t{0}, std::size_t{1}, std::size_t{32}, std::size_t{256}}) {
    std::array<unsigned char, 257> buffer{};
    buffer.fill(0xA5);
    const bool fits = bytes && bytes->size() <= 255 && bytes->size() + 1 <= room;
    require(getPascalString(text, std::span(buffer).first(room)) == fits);
    const std::size_t written = fits ? bytes->size() + 1 : 0;
    require(std::all_of(buffer.begin() + static_cast<std::ptrdiff_t>(written), buffer.end(),
                        [](unsigned char c) { return c == 0xA5; }));
    if (fits)
      require(buffer[0] == bytes->size() &&
              std::ranges::equal(std::as_bytes(std::span(buffer)).subspan(1, bytes->size()), *bytes));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  checkBytes(std::as_bytes(std::span(data, size)));
  checkText({reinterpret_cast<const char*>(data), size});
  return 0;
}
