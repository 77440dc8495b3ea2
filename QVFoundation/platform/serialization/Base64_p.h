#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "QVFoundation/platform/runtime/Value.h"

/// Bytes as text of 64 letters (RFC 4648, section 4).
///
/// Threads: functions without state.
namespace QVFoundation::detail {

[[nodiscard]] std::string base64FromData(const NSData& data);

/// Nothing where the text is not base64. White space may stand anywhere, padding may be left out.
[[nodiscard]] std::optional<NSData> dataFromBase64(std::string_view text);

}  // namespace QVFoundation::detail
