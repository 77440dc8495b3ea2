#pragma once

#include <optional>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/Value.h"
#include "QVFoundation/platform/serialization/PropertyList.h"

namespace QVFoundation {

/// Writes objects (`NSSecureCoding`) and all that they hold to a property list. An object that is held
/// several times is written once. Dates are as exact as the form has them, which `PropertyList.h` tells.
///
/// ```cpp
/// const auto data = NSKeyedArchiver::archivedDataWithRootObject(track);
/// const auto again = NSKeyedUnarchiver::unarchivedObject<std::shared_ptr<Track>>(*data);
/// ```
///
/// Threads: functions without state; objects as they allow themselves.
/// Errors: nothing comes back, and `error` is `NSPropertyListWriteInvalidError` with the key path of what
/// cannot be archived: a value of a kind that has no form, such as nothing, text that is not UTF-8, an object
/// whose class does not code itself, one that holds itself, and what is nested more than 100 levels deep.
/// Characters that only XML cannot hold are named by their place in the property list.
class QV_EXPORT NSKeyedArchiver {
public:
  NSKeyedArchiver() = delete;

  [[nodiscard]] static std::optional<NSData> archivedDataWithRootObject(
      const Value& root, std::optional<NSError>* error = nullptr,
      PropertyListFormat format = PropertyListFormat::binary);
};

}  // namespace QVFoundation
