#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace example {

/// Text as a terminal shows it without harm, in the encoding of the process's locale: control characters but
/// line breaks are question marks.
///
/// Threads: any.
[[nodiscard]] std::string shown(std::string_view text);

/// The same on one line of so many columns. What is too long loses its beginning.
[[nodiscard]] std::string shown(std::string_view text, std::size_t columns);

/// How many columns can be written to without a line break.
[[nodiscard]] std::size_t terminalWidth();

}  // namespace example
