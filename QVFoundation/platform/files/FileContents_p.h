#pragma once

#include <cstddef>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/NSDataFiles.h"

namespace QVFoundation::detail {

/// Far more than settings and texts take. A file with holes can pretend to any size.
inline constexpr std::size_t mostBytesOfFile = 256UL * 1024 * 1024;

/// `dataWithContentsOfFile`, throwing its error. A file with more than so many bytes is refused.
///
/// Threads: any.
[[nodiscard]] QV_TEST_EXPORT NSData contentsOfFile(PathView path, std::size_t mostBytes = mostBytesOfFile,
                                                   NSDataReadingOptions options = NSDataReadingOptions::none);

}  // namespace QVFoundation::detail
