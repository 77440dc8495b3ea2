#pragma once

#include <string_view>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/NSSortDescriptor.h"
#include "QVFoundation/platform/runtime/Value.h"

/// How two objects are ordered, seen through their properties: -1, 0 or 1 for ascending, same and descending.
///
/// Threads: as the objects that are read allow.
/// Errors: as reading the key paths and `compareValues` have them.
namespace QVFoundation {

/// By the values under a key path.
[[nodiscard]] QV_EXPORT int compare(const Value& a, const Value& b, std::string_view keyPath);

/// By the first of the descriptors that sees a difference; 0 where none does.
[[nodiscard]] QV_EXPORT int compare(const Value& a, const Value& b,
                                    const std::vector<NSSortDescriptor>& descriptors);

}  // namespace QVFoundation
