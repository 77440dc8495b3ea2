#pragma once

#include <optional>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/NSDataFiles.h"
#include "QVFoundation/platform/files/NSURL.h"
#include "QVFoundation/platform/files/PathView.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/NSError.h"

/// Dictionaries as files: property lists.
///
/// Threads: functions without state; call them from any thread.
namespace QVFoundation {

/// The dictionary in a file, in XML or binary form. It is a value, so all that is in it may be changed.
///
/// Nothing, and the reason in `error`, where the file cannot be read (as of `dataWithContentsOfFile`), is no
/// property list (`NSPropertyListReadCorruptError`) or holds something else, and for a URL that is no file's
/// (`NSFileReadUnsupportedSchemeError`).
[[nodiscard]] QV_EXPORT std::optional<Dictionary> qv_dictionaryWithContentsOfFile(
    PathView path, NSDataReadingOptions readOptions = NSDataReadingOptions::none,
    std::optional<NSError>* error = nullptr);
[[nodiscard]] QV_EXPORT std::optional<Dictionary> qv_dictionaryWithContentsOfURL(
    const NSURL& url, NSDataReadingOptions readOptions = NSDataReadingOptions::none,
    std::optional<NSError>* error = nullptr);

/// Writes a dictionary as XML. False, and the reason in `error`, where it holds what property lists cannot
/// (`NSPropertyListWriteInvalidError`), or the file cannot be written (as of `writeDataToFile`).
QV_EXPORT bool qv_writeToFile(const Dictionary& dictionary, PathView path, NSDataWritingOptions atomically,
                              std::optional<NSError>* error = nullptr);

}  // namespace QVFoundation
