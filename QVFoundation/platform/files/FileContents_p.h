#pragma once

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/NSDataFiles.h"

namespace QVFoundation::detail {

/// `dataWithContentsOfFile`, throwing its error.
///
/// Threads: any.
[[nodiscard]] QV_TEST_EXPORT NSData contentsOfFile(PathView path,
                                                   NSDataReadingOptions options = NSDataReadingOptions::none);

}  // namespace QVFoundation::detail
