#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <span>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/Value.h"

namespace QVFoundation::detail {

/// All bytes of a regular file.
///
/// Threads: any.
/// Errors: throws `NSFileReadNoSuchFileError` or `NSFileReadUnknownError` in `NSCocoaErrorDomain` with the
/// path and the underlying POSIX error. What is no regular file is refused, so that a pipe cannot block, and
/// so is one of more than 256 MiB.
[[nodiscard]] QV_TEST_EXPORT NSData contentsOfFile(const std::filesystem::path& path);

/// What `parse` makes of a file, where that is a dictionary; else nothing, and an error that names the file.
[[nodiscard]] std::optional<Dictionary> dictionaryFromFile(
    const std::filesystem::path& path, const std::function<Value(std::span<const std::byte>)>& parse,
    std::optional<NSError>* error);

}  // namespace QVFoundation::detail
