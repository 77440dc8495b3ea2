#pragma once

#include <memory>

#include "QVFoundation/platform/application/NSBundle.h"

namespace QVFoundation::detail {

/// The bundle with the library's own texts: `QVFoundation.resources` beside the library's file, else
/// `../share/QVFoundation` from there, else one in which each text stands for itself. Never null.
///
/// Threads: any.
[[nodiscard]] const std::shared_ptr<NSBundle>& libraryBundle();

}  // namespace QVFoundation::detail
