#include <array>
#include <cstdint>

#include "QVFoundation/platform/serialization/Base64_p.h"

namespace QVFoundation::detail {

namespace {

constexpr std::string_view letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t noLetter = 0xFF;

constexpr std::array<std::uint8_t, 256> valuesOfLetters = [] {
  std::array<std::uint8_t, 256> values{};
  values.fill(noLetter);
  for (std::size_t value = 0; value < letters.size(); ++value) {
    values[static_cast<unsigned char>(letters[value])] = static_cast<std::uint8_t>(value);
  }
  return values;
}();

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

}  // namespace

std::string base64FromData(const NSData& data) {
  std::string text;
  text.reserve((data.size() + 2) / 3 * 4);
  const auto byteAt = [&](std::size_t index) {
    return index < data.size() ? std::to_integer<std::uint32_t>(data[index]) : 0;
  };
  for (std::size_t at = 0; at < data.size(); at += 3) {
    const std::uint32_t group = byteAt(at) << 16 | byteAt(at + 1) << 8 | byteAt(at + 2);
    text += letters[group >> 18];
    text += letters[group >> 12 & 0x3F];
    text += at + 1 < data.size() ? letters[group >> 6 & 0x3F] : '=';
    text += at + 2 < data.size() ? letters[group & 0x3F] : '=';
  }
  return text;
}

std::optional<NSData> dataFromBase64(std::string_view text) {
  NSData data;
  data.reserve(text.size() / 4 * 3);
  std::uint32_t group = 0;
  unsigned bits = 0;
  bool isPadded = false;
  for (const char c : text) {
    const std::uint8_t value = valuesOfLetters[static_cast<unsigned char>(c)];
    if (isBlank(c)) continue;
    if (c == '=') {
      isPadded = true;
    } else if (value == noLetter || isPadded) {
      return {};
    } else {
      group = group << 6 | value;
      bits += 6;
      if (bits >= 8) {
        bits -= 8;
        data.push_back(static_cast<std::byte>(group >> bits));
      }
    }
  }
  // One letter left over is less than a byte.
  return bits < 6 ? std::optional(std::move(data)) : std::nullopt;
}

}  // namespace QVFoundation::detail
