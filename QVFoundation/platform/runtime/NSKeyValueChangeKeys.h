#pragma once

#include <string_view>

/// The keys of a change dictionary.
///
/// Threads: constants.
namespace QVFoundation {

inline constexpr std::string_view NSKeyValueChangeKindKey = "kind";
inline constexpr std::string_view NSKeyValueChangeNewKey = "new";
inline constexpr std::string_view NSKeyValueChangeOldKey = "old";
inline constexpr std::string_view NSKeyValueChangeIndexesKey = "indexes";
inline constexpr std::string_view NSKeyValueChangeNotificationIsPriorKey = "notificationIsPrior";

}  // namespace QVFoundation
