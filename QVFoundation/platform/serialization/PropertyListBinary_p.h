#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// How a binary property list is laid out, for its reader and its writer:
///
/// | part | content |
/// |---|---|
/// | magic | "bplist00" |
/// | objects | each a marker, for some a length, and its content; containers refer to others by their index |
/// | offset table | where each object begins |
/// | trailer | the widths of offsets and references, the number of objects, the root, where the table begins
/// |
///
/// Numbers are big-endian. The high half of a marker tells the type, the low half a length or the
/// type's details.
///
/// Threads: constants.
namespace QVFoundation::detail::binary {

inline constexpr std::string_view magic = "bplist00";
inline constexpr std::size_t trailerLength = 32;
inline constexpr std::size_t offsetOfWidths = 6;  // in the trailer, whose first bytes mean nothing
inline constexpr std::size_t offsetOfCounts = 8;

inline constexpr std::uint8_t falseMarker = 0x08;
inline constexpr std::uint8_t trueMarker = 0x09;
inline constexpr std::uint8_t dateMarker = 0x33;

/// The high half of a marker.
enum class Type : std::uint8_t {
  singleton = 0x0,
  integer = 0x1,  // low half: the width as a power of two
  real = 0x2,     // likewise
  date = 0x3,     // seconds since 2001 as a real of eight bytes
  data = 0x4,     // low half of these, and of the containers: the length
  asciiText = 0x5,
  utf16Text = 0x6,  // the length counts units
  uid = 0x8,        // low half: the width less one
  array = 0xA,
  dictionary = 0xD,  // all keys before all values
};

/// The low half of a marker whose length does not fit there: an integer object with the length follows.
inline constexpr std::uint8_t lengthFollows = 0xF;

}  // namespace QVFoundation::detail::binary
