#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "QVFoundation/platform/runtime/Value.h"

/// The two forms of property lists, each with its reader and its writer; see PropertyList.h for what
/// they promise.
///
/// Both are written here, since what the common C library hands out is too little: it takes -1 and 2^64
/// - 1 for the same number, ends dates in 2069, reads past mistakes, says nothing of where they are,
/// and recurses.
///
/// Threads: functions without state.
namespace QVFoundation::detail {

inline constexpr std::size_t deepestPropertyListLevel = 512;

/// Whether the bytes claim to be a binary property list.
[[nodiscard]] bool isBinaryPropertyList(std::span<const std::byte> data) noexcept;

[[nodiscard]] Value readBinaryPropertyList(std::span<const std::byte> data);
[[nodiscard]] NSData writeBinaryPropertyList(const Value& value);

/// `text` is what `decodedText` made of the file.
[[nodiscard]] Value readXMLPropertyList(std::string_view text);
[[nodiscard]] NSData writeXMLPropertyList(const Value& value);

}  // namespace QVFoundation::detail
