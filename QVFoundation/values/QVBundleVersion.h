#pragma once

#include <memory>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/application/NSBundle.h"
#include "QVFoundation/values/QVVersionNumber.h"

/// What a bundle says of its version.
///
/// Threads: any; each call makes a version of its own.
/// Errors: an entry that is missing, no text, or no version gives null.
namespace QVFoundation {

/// The version of the build, "CFBundleVersion".
[[nodiscard]] QV_EXPORT std::shared_ptr<QVVersionNumber> versionNumber(const NSBundle& bundle);

/// The version that people see, "CFBundleShortVersionString".
[[nodiscard]] QV_EXPORT std::shared_ptr<QVVersionNumber> qv_displayVersionNumber(const NSBundle& bundle);

}  // namespace QVFoundation
