#pragma once

#include <string>
#include <sys/stat.h>

#include "QVFoundation/platform/files/FileLocation_p.h"
#include "QVFoundation/platform/files/WaitingFile_p.h"

namespace QVFoundation::detail {

/// A file that is written under another name beside its own, and takes its own once it is whole. It goes if
/// that never happens.
///
/// Threads: one at a time.
/// Errors: `open` and `commit` return 0, or an `errno`.
class AtomicFile {
public:
  enum class Existing { replace, refuse };
  /// A link is followed where the file may be replaced; else it has taken the name.
  AtomicFile(PathView path, Existing existing);
  AtomicFile(const AtomicFile&) = delete;
  AtomicFile& operator=(const AtomicFile&) = delete;

  /// With this mode, less what the process's mask takes away, where there is no file yet.
  [[nodiscard]] int open(mode_t mode = 0666);
  [[nodiscard]] int descriptor() const noexcept { return file_.number(); }

  /// Returns when the file is on the disk and has its name.
  [[nodiscard]] int commit();

private:
  [[nodiscard]] int takeAttributes(const FileLocation& target, const struct statx& replaced) const;

  const Existing existing_;
  Descriptor folder_;
  std::string name_;
  int error_ = 0;
  WaitingFile waiting_;
  Descriptor file_;
};

}  // namespace QVFoundation::detail
