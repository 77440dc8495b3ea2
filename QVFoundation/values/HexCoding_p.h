#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation::detail {

/// The two loops between bytes and hexadecimal digits. All coders do the same; they differ in speed.
///
/// Threads: functions without state.
struct HexCoder {
  /// Writes two upper-case digits for each byte.
  void (*encode)(const std::byte* bytes, std::size_t count, char* text);
  /// Reads pairs of digits of either case. Returns the number of bytes before the first pair that is none.
  /// What stands in `bytes` after those is of no meaning.
  std::size_t (*decode)(const char* text, std::size_t count, std::byte* bytes);
};

/// Sixteen bytes at a time, on any processor.
QV_TEST_EXPORT extern const HexCoder portableHexCoder;

/// Thirty-two bytes at a time; null where the processor has no AVX2.
[[nodiscard]] QV_TEST_EXPORT const HexCoder* wideHexCoder() noexcept;

/// The fastest that this processor has.
[[nodiscard]] QV_TEST_EXPORT const HexCoder& hexCoder() noexcept;

using BytesOfNumber = std::array<std::byte, sizeof(std::uint64_t)>;

/// The bytes of a number, the highest first.
[[nodiscard]] constexpr BytesOfNumber bytesOfNumber(std::uint64_t number) noexcept {
  BytesOfNumber bytes{};
  for (std::size_t at = bytes.size(); at > 0; number >>= 8) bytes[--at] = static_cast<std::byte>(number);
  return bytes;
}

[[nodiscard]] constexpr std::uint64_t numberOfBytes(const BytesOfNumber& bytes) noexcept {
  std::uint64_t number = 0;
  for (const std::byte byte : bytes) number = number << 8 | std::to_integer<std::uint64_t>(byte);
  return number;
}

}  // namespace QVFoundation::detail
