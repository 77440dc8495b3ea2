#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace QVFoundation {

/// A folder for bundles, in a place of its own, for the length of a test.
class BundleFolder {
public:
  BundleFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "NSBundleTests-XXXXXX").string();
    folder_ = mkdtemp(pattern.data());
  }
  BundleFolder(const BundleFolder&) = delete;
  BundleFolder& operator=(const BundleFolder&) = delete;
  ~BundleFolder() { std::filesystem::remove_all(folder_); }

  [[nodiscard]] const std::filesystem::path& path() const noexcept { return folder_; }

  /// Writes a file, and makes the folders that it is in.
  const BundleFolder& add(const std::filesystem::path& file, std::string_view content = "content") const {
    std::filesystem::create_directories((folder_ / file).parent_path());
    std::ofstream(folder_ / file, std::ios::binary) << content;
    return *this;
  }

private:
  std::filesystem::path folder_;
};

}  // namespace QVFoundation
