#pragma once

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <sys/stat.h>

#include "QVFoundation/platform/files/FileLocation_p.h"

namespace QVFoundation::detail {

/// The name that an item has, beside the one that it is to have, until it is whole: hidden, and one that nobody
/// else thinks of.
///
/// Threads: any.
[[nodiscard]] inline std::string waitingName(std::string_view name) {
  constexpr std::size_t mostOfName = 100;  // leaves room below what a name may have, and is cut anywhere
  std::random_device random;
  const std::uint64_t number = (std::uint64_t{random()} << 32) | random();
  return '.' + std::string(name.substr(0, mostOfName)) + '.' + std::to_string(number);
}

/// A new file under such a name. It goes with the scope, unless it has got its own.
///
/// Threads: one at a time.
class WaitingFile {
public:
  WaitingFile() = default;
  WaitingFile(const WaitingFile&) = delete;
  WaitingFile& operator=(const WaitingFile&) = delete;
  ~WaitingFile() {
    if (location_) static_cast<void>(location_->remove(0));
  }

  /// In an open folder, which is borrowed. Closed with `errno` where it cannot be made.
  [[nodiscard]] Descriptor open(int folder, std::string_view name, mode_t mode) {
    constexpr int mostNames = 100;
    Descriptor file;
    for (int attempt = 0; attempt < mostNames && !file.isOpen(); ++attempt) {
      location_.emplace(folder, waitingName(name));
      file = location_->open(O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, mode);
      if (!file.isOpen() && errno != EEXIST) break;
    }
    if (!file.isOpen()) forget();
    return file;
  }

  /// Whether there is one.
  [[nodiscard]] bool exists() const noexcept { return location_.has_value(); }
  [[nodiscard]] const FileLocation& location() const noexcept { return *location_; }
  /// It has got its own name.
  void forget() noexcept { location_.reset(); }

private:
  std::optional<FileLocation> location_;
};

}  // namespace QVFoundation::detail
