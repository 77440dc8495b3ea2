#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <span>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/Value.h"

/// Reading and writing property lists: files that hold dictionaries with text keys, arrays, text, numbers,
/// booleans, dates and data.
///
/// ```cpp
/// const NSData data = dataFromPropertyList(Dictionary{{"volume", 11}}, PropertyListFormat::binary);
/// const Value settings = propertyListFromData(data);
/// ```
///
/// Numbers come back as the integer, real or boolean that they were, integers over the whole range of
/// `std::int64_t` and `std::uint64_t`. Text must be UTF-8. Dates keep whole seconds in XML and microseconds
/// in binary form; one that `NSDate` cannot hold is read as the nearest that it can. Containers nest up to
/// 512 levels in both directions.
///
/// Whatever the bytes are, reading them ends soon, in time and memory in proportion to their number.
///
/// Threads: functions without state; call them from any thread.
/// Errors: `NSError` in `NSCocoaErrorDomain`, see each function.
namespace QVFoundation {

enum class PropertyListFormat { xml = 100, binary = 200 };

/// The value that the bytes hold, in either form; `format`, where given, tells which.
///
/// Throws `NSPropertyListReadCorruptError` with line and column (XML) or object and byte (binary) of what
/// is wrong.
[[nodiscard]] QV_EXPORT Value propertyListFromData(std::span<const std::byte> data,
                                                   PropertyListFormat* format = nullptr);

/// Throws `NSPropertyListWriteInvalidError` with the key path of a value that the form cannot hold: nothing
/// and the null object, sets, errors, objects, keys that are no text, text that is not UTF-8, and, in XML only,
/// control characters other than white space, U+FFFE and U+FFFF.
[[nodiscard]] QV_EXPORT NSData dataFromPropertyList(const Value& value, PropertyListFormat format);

/// The dictionary that a file holds; nothing, and the reason in `error`, where it cannot be read, is no
/// property list, holds something else or has more than 256 MiB.
[[nodiscard]] QV_EXPORT std::optional<Dictionary> dictionaryFromPropertyListFile(
    const std::filesystem::path& path, std::optional<NSError>* error = nullptr);

}  // namespace QVFoundation
