#pragma once

#include <memory>
#include <optional>
#include <string>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/values/QVVersionNumber.h"

/// What the system says of itself, as a program can see it. Inside a container or a sandbox these are the facts
/// of the inside: the version is that of the image or runtime, while the kernel and the machine are those of
/// the host as far as they are let through.
///
/// ```cpp
/// logger->logInfo("%@ on %@, build %@", QVSystemVersionNumber()->versionString(), QVHardwareModelName(),
///                 QVSystemVersionBuildString().value_or("unknown"));
/// ```
///
/// Threads: any.
/// Errors: what cannot be found out is told in the result.
namespace QVFoundation {

/// The version of the distribution, always three digits, the same object each time. It comes from os-release:
/// 22.04 is 22.4.0. Where the distribution states its point release, beside a version of fewer digits, that is
/// taken: Debian 12 is 12.11.0. One that states no version, as those that are always renewed, is 0.0.0.
[[nodiscard]] QV_EXPORT const std::shared_ptr<const QVVersionNumber>& QVSystemVersionNumber();

/// What tells this build of the system from others: the build or image that os-release names, else the
/// release of the kernel. It is read anew each time; nothing where the system tells none of them.
[[nodiscard]] QV_EXPORT std::optional<std::string> QVSystemVersionBuildString();

/// The model of the machine, from the tables of its firmware or its device tree, such as
/// "Raspberry Pi 4 Model B Rev 1.4"; "Unknown Mac model" where the system tells none.
[[nodiscard]] QV_EXPORT std::string QVHardwareModelName();

/// The memory of this process in bytes, as the kernel counts it: "resident_size", "resident_size_max", which
/// is the most so far, and "virtual_size". Where it cannot be read only "error", with the system's code.
[[nodiscard]] QV_EXPORT Dictionary QVCollectMemoryUsageInfo();

/// Whether the environment has the variable "XCTestConfigurationFilePath", also if it is empty: so who runs
/// tests makes itself known.
[[nodiscard]] QV_EXPORT bool QVIsUnitTesting() noexcept;

}  // namespace QVFoundation
