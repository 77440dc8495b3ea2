#pragma once

#include <string>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/serialization/JSONWriter.h"

namespace QVFoundation {

/// The base of the library's own objects: its description is its debug dictionary, so that whatever holds
/// such objects prints readably with all their state. A subclass adds its fields to `debugDictionary`.
///
/// Threads: as for `NSObject`.
class QV_EXPORT QVObject : public NSObject {
public:
  /// The debug dictionary.
  [[nodiscard]] std::string description() const override;
  /// The debug dictionary down to the second level of indentation; deeper, where it would only be in the way,
  /// and within the object's own description where that has begun anew inside, the short description.
  [[nodiscard]] std::string descriptionWithLocale(const NSLocale* locale, unsigned indent) const override;
};

/// The debug dictionary of any object as JSON. Values that JSON does not know are written as what they print.
[[nodiscard]] QV_EXPORT std::string jsonDescription(const NSObject& object,
                                                    JSONStyle style = JSONStyle::pretty);

}  // namespace QVFoundation
