#pragma once

#include <algorithm>
#include <string>
#include <string_view>

/// What readers of plain text files have in common.
///
/// Threads: functions without state.
namespace QVFoundation::detail {

/// Takes what stands before the next `end` away from the beginning of a text, and the `end` with it; all of it
/// where there is none.
inline std::string_view takeUntil(std::string_view& text, char end) {
  const std::size_t length = std::min(text.find(end), text.size());
  const std::string_view taken = text.substr(0, length);
  text.remove_prefix(std::min(length + 1, text.size()));
  return taken;
}

/// With small letters for the capital ones of ASCII; all else stays.
[[nodiscard]] inline std::string lowerCaseASCII(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

}  // namespace QVFoundation::detail
