#pragma once

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Value.h"

/// The order in which values are sorted.
///
/// Threads: as for `Value`.
/// Errors: two values that have no order raise `NSException` named `NSInvalidArgumentException`, whose reason
/// names both.
namespace QVFoundation {

/// -1, 0 or 1 for ascending, same and descending. Nothing comes first, then `NSNull`, then all else; numbers,
/// texts, data and dates go by `Value::compare`, so not-a-number comes before the other numbers. What is
/// equal is the same, whatever its kind; a text and a number, or two unequal objects, have no order.
[[nodiscard]] QV_EXPORT int compareValues(const Value& a, const Value& b);

}  // namespace QVFoundation
