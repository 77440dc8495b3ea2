#pragma once

#include "QVFoundation/platform/Export.h"

namespace QVFoundation {

/// What a class derives from, beside `NSObject`, to let files name it: who makes objects of names that others
/// wrote makes those of such classes, and of no other class that happens to be registered.
///
/// ```cpp
/// class Track : public NSObject, public MadeByName { … };
/// ```
///
/// Nothing but the default constructor runs on the mere word of a file, so that one should have no effects.
///
/// Threads: as for the class.
class QV_EXPORT MadeByName {
protected:
  MadeByName() = default;
  ~MadeByName() = default;
};

}  // namespace QVFoundation
