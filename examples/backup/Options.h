#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <optional>

namespace example {

/// What the command line says.
///
/// Threads: a plain value.
struct Options {
  std::filesystem::path source, destination;  // absolute; a link stays one, whatever slash follows it
  std::optional<std::size_t> onConflict;      // which way out where the destination exists; nothing: ask
  bool clones = false, flushes = false, verifies = true, logsDebug = false;
  std::optional<std::chrono::duration<double>> timeout;
  std::optional<std::filesystem::path> trace, errorJSON;
};

/// Prints the help, or says what is wrong, and ends the program, where there is nothing to back up.
[[nodiscard]] Options readOptions(int count, char** arguments);

}  // namespace example
