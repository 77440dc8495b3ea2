#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace QVFoundation::detail {

/// The text of a file without its byte order mark: UTF-8, or UTF-16 of either order with a mark or with an
/// ASCII character at its start, which shows by the zero beside it. UTF-16 is converted into `storage`; what
/// is taken for UTF-8 stays where it is and may not be valid.
///
/// Threads: a function without state.
[[nodiscard]] std::string_view decodedText(std::span<const std::byte> bytes, std::string& storage);

}  // namespace QVFoundation::detail
