#pragma once

#include <cstddef>
#include <string_view>

#include "QVFoundation/platform/runtime/NSError.h"

/// What the readers of text have in common: errors that name a line and a column.
///
/// Threads: functions without state.
namespace QVFoundation::detail {

/// A place in a text as editors show it: both count from 1, columns in characters. Lines end with LF, CR or
/// CR LF.
struct TextPosition {
  std::size_t line = 1;
  std::size_t column = 1;
};

[[nodiscard]] TextPosition positionInText(std::string_view text, std::size_t offset) noexcept;

/// `NSPropertyListReadCorruptError` with a description such as "Invalid JSON at line 1, column 17: …".
[[nodiscard]] NSError syntaxError(std::string_view language, std::string_view text, std::size_t offset,
                                  std::string_view problem);

/// The same where there is no place to name.
[[nodiscard]] NSError corruptError(std::string_view description);

/// Where the text stops to be UTF-8; its size where it never does.
[[nodiscard]] std::size_t validUTF8Length(std::string_view text) noexcept;

}  // namespace QVFoundation::detail
