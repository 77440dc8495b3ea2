#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Dictionary.h"

namespace QVFoundation::detail {

/// The property list with the settings of one application, which all processes that run it share.
///
/// ```text
/// UserDefaults.plist           the settings
/// UserDefaults.backup.plist    what they were before the last change
/// UserDefaults.damaged.plist   what was found in their place and could not be read
/// UserDefaults.plist.lock      held by whoever changes them
/// ```
///
/// Readers take no lock: at each moment the file is the old one or the new one, whole. Who changes settings
/// holds the lock while he reads, changes and writes, so that what others have changed meanwhile is kept.
///
/// A damaged file is copied aside before the backup, or else an empty file, takes its place; if either fails,
/// nothing is overwritten, and readers take the backup.
///
/// Threads: one at a time; any number of processes.
/// Errors: each throws `NSError` in `NSCocoaErrorDomain`. A folder that is not there is no error for a
/// reader.
class QV_TEST_EXPORT UserDefaultsFile {
public:
  /// What is to stand under some keys; nothing removes a key.
  using Changes = std::map<std::string, Value, std::less<>>;

  struct Settings {
    Dictionary before;   // what the file held, once it was mended where that was needed
    Dictionary values;   // what it holds now
    std::string report;  // of damage that was met, for those who look after the computer
  };

  /// The path of the settings; the other files stand beside it.
  explicit UserDefaultsFile(std::string path);

  [[nodiscard]] const std::string& path() const noexcept { return path_; }

  /// What the file holds; a damaged one is mended.
  [[nodiscard]] Settings read() const;
  /// Changes the file, or writes nothing where it holds that already, and gives what it holds then.
  [[nodiscard]] Settings update(const Changes& changes) const;

private:
  struct Content;
  class Lock;

  [[nodiscard]] std::string besides(std::string_view role) const;
  [[nodiscard]] static Content contentOf(const std::string& path);
  [[nodiscard]] Content soundContent() const;
  [[nodiscard]] Content mend(const Content& damaged) const;
  [[nodiscard]] std::string setAside(std::span<const std::byte> bytes) const;
  void removeLeftovers() const;

  std::string path_;
};

}  // namespace QVFoundation::detail
