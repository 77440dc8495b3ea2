#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "QVFoundation/platform/text/Described.h"
#include "QVFoundation/platform/text/StaticText.h"

namespace QVFoundation {

/// What `QVTimingName` and `QVProgressSegmentName` have in common: a name that is a static text. Making one
/// allocates nothing, and its text can be kept, as signposts do. Names of one kind are equal, and have the
/// same hash, when their texts are equal, wherever these stand.
///
/// Threads: a plain value.
/// Errors: none. Texts that are not static do not compile.
template <class Name>
class StaticName {
public:
  [[nodiscard]] constexpr StaticText rawValue() const noexcept { return text_; }
  constexpr void setRawValue(StaticText text) noexcept { text_ = text; }

  [[nodiscard]] std::string stringValue() const { return std::string(text_.view()); }
  /// What "%@" prints.
  [[nodiscard]] std::string description() const { return stringValue(); }

  friend constexpr bool operator==(const Name& a, const Name& b) noexcept {
    return a.rawValue() == b.rawValue();
  }

private:
  friend Name;
  constexpr explicit StaticName(StaticText text) noexcept : text_(text) {}

  StaticText text_;
};

/// For `std::hash` of a kind of names.
template <class Name>
struct StaticNameHash {
  std::size_t operator()(const Name& name) const noexcept { return std::hash<StaticText>()(name.rawValue()); }
};

}  // namespace QVFoundation
