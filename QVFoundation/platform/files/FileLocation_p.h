#pragma once

#include <fcntl.h>
#include <string>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/Descriptor_p.h"
#include "QVFoundation/platform/files/PathView.h"

namespace QVFoundation::detail {

enum class FollowLinks { no, yes };

/// What a path leads to, in a form that the system takes however long the path is: a folder and the rest of
/// the way from there. Its calls are those of the system, repeated while interrupted.
///
/// Threads: as a plain value.
/// Errors: each call returns -1 and sets `errno`, also where the place could not be reached at all.
class QV_TEST_EXPORT FileLocation {
public:
  /// Opens folders on the way only where the path is nearly as long as `PATH_MAX` or longer. What cannot be
  /// reached has no name in no folder.
  explicit FileLocation(PathView path);
  /// In an open folder, which is borrowed.
  FileLocation(int folder, std::string name) noexcept;

  [[nodiscard]] int folder() const noexcept { return folder_.isOpen() ? folder_.number() : borrowed_; }
  [[nodiscard]] const char* name() const noexcept { return rest_.c_str(); }

  /// Never inherited by child processes.
  [[nodiscard]] Descriptor open(int flags, mode_t mode = 0) const noexcept;
  [[nodiscard]] int status(FollowLinks follow, unsigned mask, struct statx& status) const noexcept;
  [[nodiscard]] int makeFolder(mode_t mode) const noexcept;
  [[nodiscard]] int remove(int flags) const noexcept;
  [[nodiscard]] int renameTo(const FileLocation& other, unsigned flags) const noexcept;
  /// Gives the item a second name.
  [[nodiscard]] int linkTo(const FileLocation& other) const noexcept;
  /// The text of a link, however long it is, without a zero at its end.
  [[nodiscard]] int readLink(std::string& text) const;
  /// Why the place could not be reached; 0 if it could.
  [[nodiscard]] int error() const noexcept { return error_; }
  /// For calls that take a path and no folder, unless there is an error.
  [[nodiscard]] std::string pathWithoutFolder() const;

private:
  void fail(int code) noexcept;

  Descriptor folder_;
  int borrowed_ = AT_FDCWD;
  int error_ = 0;  // what kept the place from being reached
  std::string rest_;
};

}  // namespace QVFoundation::detail
