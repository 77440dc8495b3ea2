#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation::testing {

/// A volume in a file, mounted for a scope where the machine allows it.
class Volume {
public:
  explicit Volume(const std::string& format, std::uintmax_t mebibytes = 400) {
    if (format == "tmpfs") {
      mount("mount -t tmpfs -o size=" + std::to_string(mebibytes) + "m tmpfs");
    } else {
      const std::string image = (folder_ / "image").native();
      const std::string force = format == "ext4" ? " -F " : " -f ";
      std::ofstream(image).flush();
      std::filesystem::resize_file(image, mebibytes << 20);
      if (succeeds("mkfs." + format + " -q" + force + image)) mount("mount -o loop " + image);
    }
  }
  Volume(const Volume&) = delete;
  Volume& operator=(const Volume&) = delete;
  ~Volume() {
    if (isMounted_) succeeds("umount -l " + path().native());
  }

  [[nodiscard]] bool isMounted() const { return isMounted_; }
  [[nodiscard]] std::filesystem::path path() const { return folder_ / "volume"; }

private:
  static bool succeeds(const std::string& command) {
    return std::system((command + " > /dev/null 2>&1").c_str()) == 0;  // NOLINT: nothing of it is foreign
  }
  void mount(const std::string& command) {
    std::filesystem::create_directory(path());
    isMounted_ = succeeds(command + ' ' + path().native());
  }

  const TemporaryFolder folder_{placeForManyFolders()};
  bool isMounted_ = false;
};

}  // namespace QVFoundation::testing
