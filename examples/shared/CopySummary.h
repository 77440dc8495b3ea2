#pragma once

#include <filesystem>
#include <string>

#include <QVFoundation/operations/XRCopyFileOperation.h>

namespace example {

/// What was copied to where, and some of what could not be kept, as text of some lines.
///
/// Threads: any.
[[nodiscard]] std::string summaryOf(const QVFoundation::CopyReport& report,
                                    const std::filesystem::path& destination);

/// What was lost of which item, and why: "owner of PATH: REASON".
///
/// Threads: any.
[[nodiscard]] std::string lossText(const QVFoundation::CopyLoss& loss);

}  // namespace example
