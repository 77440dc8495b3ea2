#pragma once

#include <string>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Value.h"
#include "QVFoundation/platform/serialization/JSONWriter.h"
#include "QVFoundation/platform/serialization/StructureSink.h"

/// Reading and writing JSON (RFC 8259).
///
/// ```cpp
/// const Value settings = valueFromJSON(R"({"volume": 11})");
/// const std::string json = jsonFromValue(settings, JSONStyle::pretty);
/// ```
///
/// Threads: functions without state; call them from any thread.
/// Errors: `NSError` in `NSCocoaErrorDomain`: `NSPropertyListReadCorruptError` with line and column for
/// text that is no JSON, `NSPropertyListWriteInvalidError` with the key path for a value that JSON has no
/// form for.
namespace QVFoundation {

/// Sends the one value that the text holds to a sink. Nesting may be as deep as the sink bears;
/// nothing recurses.
///
/// Integers stay whole over the range of `std::int64_t` and `std::uint64_t`; numbers beyond it, and those
/// with a fraction or an exponent, are real; one that no `double` can hold, such as 1e400, is an error. Texts
/// must be UTF-8. A byte order mark at the start is skipped. Of equal keys in one dictionary all are sent.
QV_EXPORT void parseJSON(std::string_view text, StructureSink& sink);

/// The value that the text holds. Of equal keys the last one counts; nesting deeper than `ValueBuilder`
/// allows is an error.
[[nodiscard]] QV_EXPORT Value valueFromJSON(std::string_view text);

/// A value as JSON text, the keys of dictionaries in order. Nothing becomes null, as the null object does.
[[nodiscard]] QV_EXPORT std::string jsonFromValue(const Value& value, JSONStyle style = JSONStyle::compact);

}  // namespace QVFoundation
