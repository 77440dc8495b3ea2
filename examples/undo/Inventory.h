#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace example {

/// What an item and all that is in it were at one moment. No link is followed.
///
/// Threads: any, one at a time.
/// Errors: an `NSError` where not all of it can be read.
class Inventory {
public:
  explicit Inventory(std::filesystem::path item);

  /// A folder that nothing can be removed from, that of the item itself included.
  [[nodiscard]] std::optional<std::string> closedFolder() const;
  /// Something that has come, gone or changed since an earlier one of the same item.
  [[nodiscard]] std::optional<std::string> changeSince(const Inventory& earlier) const;
  /// Removes what is still as it was, and of the folders those that are empty then. Returns what stays, and
  /// why, for people; nothing where all has gone. A change between the last look and the removal is not seen.
  [[nodiscard]] std::vector<std::string> remove() const;

private:
  void note(const std::string& path);

  const std::filesystem::path item_;
  std::map<std::string, struct stat> items_;  // by their paths: a folder before what is in it
};

}  // namespace example
