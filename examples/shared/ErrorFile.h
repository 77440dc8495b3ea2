#pragma once

#include <filesystem>

#include <QVFoundation/platform/runtime/NSError.h>

namespace example {

/// Writes an error as JSON in the place of what is there; says on standard error where that fails.
///
/// Threads: any.
void writeError(const QVFoundation::NSError& error, const std::filesystem::path& path);

}  // namespace example
