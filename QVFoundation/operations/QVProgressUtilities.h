#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/application/NSProgress.h"
#include "QVFoundation/platform/tracing/OSLogger.h"

/// Names and descriptions for progress objects, and what is said about them to those who look for a fault. An
/// operation has members of some of these names: inside of one write `QVFoundation::setName(…)`.
///
/// Threads: any.
namespace QVFoundation {

/// The user info's "name".
[[nodiscard]] QV_EXPORT std::optional<std::string> name(const NSProgress& progress);
QV_EXPORT void setName(NSProgress& progress, const std::optional<std::string>& name);

/// The top of the tree that it stands in, maybe itself.
[[nodiscard]] QV_EXPORT std::shared_ptr<NSProgress> rootProgress(NSProgress& progress);
/// The names from the root down to this one; "<unnamed>" where there is none.
[[nodiscard]] QV_EXPORT std::vector<std::string> nameChain(NSProgress& progress);

/// Its `debugDictionary` as JSON, on one line.
[[nodiscard]] QV_EXPORT std::string customDescription(const NSProgress& progress);
/// Its description and those of all that stand below it, one a line, each two blanks further in than its
/// parent.
[[nodiscard]] QV_EXPORT std::string hierarchyDescriptionWithIndent(const NSProgress& progress, int indent);

/// Set the text here and on all above.
QV_EXPORT void updateLocalizedDescription(NSProgress& progress,
                                          const std::optional<std::string>& description);
QV_EXPORT void updateLocalizedAdditionalDescription(NSProgress& progress,
                                                    const std::optional<std::string>& description);

/// One unit more.
QV_EXPORT void incrementCompletedUnitCount(NSProgress& progress);

// Logs about progress: of the counts, of the trees as they grow, of the copies for the main thread. They are
// for the developers of operations. A library built with `QV_PROGRESS_LOGGING`, or with its tests, writes
// them to the system log under "org.qvfoundation", as far as they are enabled here and by
// `setOSLogMinimumType`; any other leaves them out.

[[nodiscard]] QV_EXPORT bool progressLoggingEnabled() noexcept;
/// The logs of counts and of copies are made anew when they are next asked for; that of the trees stays.
QV_EXPORT void setProgressLoggingEnabled(bool enabled) noexcept;
[[nodiscard]] QV_EXPORT OSLogger createProgressLogWithCategory(std::string_view category);
[[nodiscard]] QV_EXPORT const OSLogger& progressLog();
[[nodiscard]] QV_EXPORT const OSLogger& childLog();
[[nodiscard]] QV_EXPORT const OSLogger& mirrorLog();

}  // namespace QVFoundation
