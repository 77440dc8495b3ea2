#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Dictionary.h"

/// What a system's files say of it. The files are looked up below `root`: nothing for the system that runs, a
/// folder for one that a test makes up.
///
/// Threads: functions without state; call them from any thread.
namespace QVFoundation::detail {

/// Three digits, zeros for those that are not stated.
[[nodiscard]] QV_TEST_EXPORT std::vector<std::int64_t> systemVersion(std::string_view root);
[[nodiscard]] QV_TEST_EXPORT std::optional<std::string> systemBuild(std::string_view root);
[[nodiscard]] QV_TEST_EXPORT std::optional<std::string> hardwareModel(std::string_view root);
[[nodiscard]] QV_TEST_EXPORT Dictionary memoryUsage(std::string_view root);

}  // namespace QVFoundation::detail
