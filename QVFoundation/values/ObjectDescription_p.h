#pragma once

#include <string>

#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation::detail {

/// The debug dictionary of an object as its description; see `QVObject`.
///
/// Threads: any, as far as the object is.
[[nodiscard]] std::string descriptionFromDebugDictionary(const NSObject& object, const NSLocale* locale,
                                                         unsigned indent);

}  // namespace QVFoundation::detail
