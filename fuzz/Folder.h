#pragma once

#include <filesystem>
#include <span>
#include <string>
#include <string_view>

#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation::fuzzing {

/// A folder in memory that a fuzzer writes to in each of its runs, and that goes with the process.
///
/// Threads: one at a time.
class Folder {
public:
  [[nodiscard]] std::string path(std::string_view name) const { return (folder_ / name).native(); }

  static void write(const std::string& path, std::string_view content) { testing::makeFile(path, content); }

  /// Empties it for the next run.
  void clear() const {
    for (const auto& entry : std::filesystem::directory_iterator(folder_.path())) {
      std::filesystem::remove_all(entry.path());
    }
  }

private:
  const testing::TemporaryFolder folder_{testing::placeForManyFolders()};
};

}  // namespace QVFoundation::fuzzing
