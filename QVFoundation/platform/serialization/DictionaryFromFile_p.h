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

/// What `parse` makes of a file, where that is a dictionary; else nothing, and an error that names the file.
///
/// Threads: any.
[[nodiscard]] std::optional<Dictionary> dictionaryFromFile(
    const std::filesystem::path& path, const std::function<Value(std::span<const std::byte>)>& parse,
    std::optional<NSError>* error);

}  // namespace QVFoundation::detail
