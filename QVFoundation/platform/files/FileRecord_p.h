#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>

#include "QVFoundation/platform/files/FileIdentity_p.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/Value.h"

namespace QVFoundation::detail {

/// Longer paths are refused: they come from damaged or hostile records.
inline constexpr std::size_t mostPathBytes = std::size_t{64} * 1024;

/// What a file reference remembers.
///
/// Threads: as a plain value.
struct FileRecord {
  std::string path;  ///< absolute
  std::optional<std::string> relativePath;
  FileIdentity identity;
};

[[nodiscard]] NSData dataFromRecord(const FileRecord& record);

/// Throws `NSCoderReadCorruptError` in `NSCocoaErrorDomain` with a text that says what is wrong.
[[nodiscard]] FileRecord recordFromData(std::span<const std::byte> data);

/// From the current folder, with single slashes between the names. Only what could not make a difference is
/// left out: ".." stays, since a link may stand before it.
/// Throws where the path is empty or too long, or where there is no current folder.
[[nodiscard]] std::string absolutePathTo(PathView path);

/// What `make` returns; nothing where it throws an error, which is handed back.
template <class Make>
[[nodiscard]] auto handingBack(std::optional<NSError>* error, const Make& make)
    -> std::optional<decltype(make())> {
  try {
    return make();
  } catch (const NSError& problem) {
    if (error != nullptr) *error = problem;
    return {};
  }
}

}  // namespace QVFoundation::detail
