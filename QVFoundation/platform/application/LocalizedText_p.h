#pragma once

#include <string>
#include <string_view>

#include "QVFoundation/platform/application/NSBundle.h"
#include "QVFoundation/platform/text/Format.h"

namespace QVFoundation::detail {

/// Fills a format that the main bundle may have in the user's language.
///
/// Threads: any.
template <class... Args>
[[nodiscard]] std::string localizedText(std::string_view format, const Args&... args) {
  return localizedStringWithFormat(NSBundle::mainBundle()->localizedStringForKey(format, "", ""), args...);
}

}  // namespace QVFoundation::detail
