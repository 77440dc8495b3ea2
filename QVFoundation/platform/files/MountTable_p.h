#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/FileLocation_p.h"

namespace QVFoundation::detail {

/// A volume at the place where the process sees it.
struct Mount {
  std::string path;
  std::string format;  ///< of the file system: "ext4"
};

/// The mount that an item is on, links followed; nothing where that cannot be found out.
///
/// Threads: any.
[[nodiscard]] QV_TEST_EXPORT std::optional<Mount> mountOf(const FileLocation& location);

/// The mount of a number in a table as `/proc/self/mountinfo` has it (proc_pid_mountinfo(5)).
[[nodiscard]] QV_TEST_EXPORT std::optional<Mount> mountInTable(std::string_view table, std::uint64_t number);

}  // namespace QVFoundation::detail
