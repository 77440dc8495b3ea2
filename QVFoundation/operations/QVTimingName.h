#pragma once

#include "QVFoundation/operations/StaticName.h"

namespace QVFoundation {

/// The name of a timer of `QVTimingInfo`.
///
/// ```cpp
/// static constexpr QVTimingName decoding("decoding");
/// ```
///
/// Threads: a plain value.
class QVTimingName : public StaticName<QVTimingName> {
public:
  // Where a name is wanted, a literal is one.
  consteval QVTimingName(const char* text) : StaticName(StaticText(text)) {}
  constexpr explicit QVTimingName(StaticText text) noexcept : StaticName(text) {}
};

}  // namespace QVFoundation

template <>
struct std::hash<QVFoundation::QVTimingName> : QVFoundation::StaticNameHash<QVFoundation::QVTimingName> {};
