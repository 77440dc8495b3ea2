#pragma once

#include <fcntl.h>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "QVFoundation/platform/files/NSFileManager.h"

namespace QVFoundation::testing {

/// A chain of folders, each in the one before it, whose path may be longer than the system takes. Gone when
/// the scope ends.
class DeepFolder {
public:
  static constexpr const char* name = "a-folder-in-the-one-above";

  DeepFolder(std::filesystem::path top, int depth) : top_(std::move(top)), path_(top_.native()) {
    mkdir(top_.c_str(), 0777);
    int above = open(top_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    for (int i = 0; i < depth; ++i) {
      (path_ += '/') += name;
      mkdirat(above, name, 0777);
      const int next = openat(above, name, O_PATH | O_DIRECTORY | O_CLOEXEC);
      close(above);
      above = next;
    }
    close(above);
  }
  DeepFolder(const DeepFolder&) = delete;
  DeepFolder& operator=(const DeepFolder&) = delete;
  ~DeepFolder() { NSFileManager().removeItemAtPath(top_); }

  /// Of the last one.
  [[nodiscard]] const std::string& path() const { return path_; }

private:
  const std::filesystem::path top_;
  std::string path_;
};

}  // namespace QVFoundation::testing
