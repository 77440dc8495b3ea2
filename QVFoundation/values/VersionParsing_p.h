#pragma once

#include <string_view>

#include "QVFoundation/values/VersionDigits.h"

/// How versions are read.
///
/// Threads: functions without state; call them from any thread.
namespace QVFoundation::detail {

/// Appends the digits of a version such as "1.0b2"; none where the text does not begin with a version.
void readVersion(std::string_view text, VersionDigits& digits);

/// Those of a build number such as "9A581a". One that begins with a lower-case letter raises
/// `NSRangeException`.
[[nodiscard]] VersionDigits buildVersionDigits(std::string_view text);

}  // namespace QVFoundation::detail
