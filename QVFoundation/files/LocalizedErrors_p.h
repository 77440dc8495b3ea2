#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "QVFoundation/errors/QVErrorConstructors.h"
#include "QVFoundation/platform/application/NSBundle.h"
#include "QVFoundation/platform/text/Format.h"

/// Errors whose texts are looked up in the main bundle, with the English text as the key, and then filled in.
///
/// Threads: functions without state.
namespace QVFoundation::detail {

template <class... Args>
std::string localizedText(std::string_view format, const Args&... args) {
  return stringWithFormat(NSBundle::mainBundle()->localizedStringForKey(format), args...);
}

/// Nothing for code 0.
template <class... Args>
std::optional<NSError> localizedPOSIXError(int code, std::string_view format, const Args&... args) {
  return POSIXError(code, localizedText(format, args...));
}

}  // namespace QVFoundation::detail
