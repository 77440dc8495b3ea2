#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace QVFoundation {

/// A text that may be absent, as a parameter: nothing, a null pointer, or any kind of string.
///
/// Threads: as a plain value.
/// Ownership: borrows its text.
class OptionalText : public std::optional<std::string_view> {
public:
  using std::optional<std::string_view>::optional;
  OptionalText(std::nullptr_t) noexcept {}
  OptionalText(const char* text) noexcept {
    if (text != nullptr) emplace(text);
  }
};

}  // namespace QVFoundation
