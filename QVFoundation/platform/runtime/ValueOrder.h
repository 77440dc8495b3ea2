#pragma once

#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Value.h"

/// The order in which values are sorted.
///
/// Threads: as for `Value`.
/// Errors: two values that have no order raise `NSException` named `NSInvalidArgumentException`, whose reason
/// names both.
namespace QVFoundation {

/// -1, 0 or 1 for ascending, same and descending. Nothing comes first, then `NSNull`, then all else by
/// `Value::compare`, so not-a-number comes before the other numbers. What is equal is the same, whatever its
/// kind; a text and a number, or two containers, have no order.
[[nodiscard]] QV_EXPORT int compareValues(const Value& a, const Value& b);

namespace detail {

/// The same for values found under a key path, which the error names as well.
[[nodiscard]] QV_EXPORT int compareValuesUnder(std::string_view keyPath, const Value& a, const Value& b);

}  // namespace detail

}  // namespace QVFoundation
