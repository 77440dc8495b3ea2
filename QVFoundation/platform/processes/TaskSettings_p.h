#pragma once

#include <array>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "QVFoundation/platform/processes/NSTaskStream.h"

namespace QVFoundation::detail {

/// What a task is going to run, and with what.
///
/// Threads: as a plain value.
struct TaskSettings {
  std::optional<std::string> launchPath;
  std::vector<std::string> arguments;
  std::optional<std::string> currentDirectoryPath;
  std::optional<std::map<std::string, std::string>> environment;
  NSTaskStream input, output, error;
  bool startsProcessGroup = false;
  bool launcherWaits = false;  // and keeps the leader of a group once it has ended; see ChildProcess

  /// By the number that they have in the child.
  [[nodiscard]] std::array<const NSTaskStream*, 3> streams() const { return {&input, &output, &error}; }
};

}  // namespace QVFoundation::detail
