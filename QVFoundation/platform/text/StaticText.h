#pragma once

#include <functional>
#include <string_view>

#include "QVFoundation/platform/text/Described.h"

namespace QVFoundation {

/// Text that is there for as long as the program is: a literal, or an array that is `static constexpr`.
///
/// ```cpp
/// void mark(StaticText name);
/// mark("import");  // costs nothing, and whoever gets it may keep it
/// ```
///
/// The compiler refuses any other text, so a `StaticText` can be handed on and stored without a copy and
/// without a thought, to tracing tools as well, which want the address of a text that stays.
///
/// Threads: a plain value.
/// Ownership: none is needed.
class StaticText {
public:
  // Where such a text is wanted, a literal is one.
  consteval StaticText(const char* text) : text_(text) {}

  /// Ends in a zero.
  [[nodiscard]] constexpr const char* data() const noexcept { return text_.data(); }
  [[nodiscard]] constexpr std::string_view view() const noexcept { return text_; }
  constexpr operator std::string_view() const noexcept { return text_; }

  /// Compares the texts, wherever they stand.
  friend constexpr bool operator==(StaticText a, StaticText b) noexcept { return a.text_ == b.text_; }

  friend std::ostream& operator<<(std::ostream& stream, StaticText text) {
    return detail::writeDescription(stream, text.text_);
  }

private:
  std::string_view text_;
};

}  // namespace QVFoundation

template <>
struct std::hash<QVFoundation::StaticText> {
  std::size_t operator()(QVFoundation::StaticText text) const noexcept {
    return std::hash<std::string_view>()(text.view());
  }
};
