#pragma once

#include "QVFoundation/operations/QVTimingName.h"
#include "QVFoundation/operations/StaticName.h"

namespace QVFoundation {

/// The name of a part of an operation, which has a share in its progress and a timer of the same name.
///
/// ```cpp
/// static constexpr QVProgressSegmentName reading{"reading"}, storing{"storing"};
/// ```
///
/// Threads: a plain value.
class QVProgressSegmentName : public StaticName<QVProgressSegmentName> {
public:
  // Where a name is wanted, a literal is one.
  consteval QVProgressSegmentName(const char* text) : StaticName(StaticText(text)) {}
  constexpr explicit QVProgressSegmentName(StaticText text) noexcept : StaticName(text) {}

  /// The name of its timer.
  constexpr operator QVTimingName() const noexcept { return QVTimingName(rawValue()); }
};

}  // namespace QVFoundation

template <>
struct std::hash<QVFoundation::QVProgressSegmentName>
    : QVFoundation::StaticNameHash<QVFoundation::QVProgressSegmentName> {};
