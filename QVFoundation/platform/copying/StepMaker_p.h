#pragma once

#include <memory>
#include <sys/stat.h>

#include "QVFoundation/platform/copying/CopyRun_p.h"
#include "QVFoundation/platform/copying/CopyTarget_p.h"
#include "QVFoundation/platform/files/NSFileAttributes.h"

namespace QVFoundation::detail {

/// Makes the steps that copy items, and holds for each all that it needs of its source.
///
/// Threads: that of the copy.
class StepMaker {
public:
  explicit StepMaker(CopyRun& run) noexcept : run_(run) {}

  /// For anything but a folder, in an open one. The type is what its folder says, and may be wrong by now. Null
  /// with `errno` where the item cannot be had.
  [[nodiscard]] std::unique_ptr<CopyStep> stepFor(int folder, const char* name, NSFileType type,
                                                  CopyTarget target) const;

  /// Where too many files are open, those come first that wait with theirs.
  [[nodiscard]] Descriptor open(int folder, const char* name, int flags) const;

private:
  [[nodiscard]] std::unique_ptr<CopyStep> firstStepFor(int folder, const char* name, NSFileType type,
                                                       const CopyTarget& target, struct stat& status) const;
  [[nodiscard]] std::unique_ptr<CopyStep> fileStepFor(int folder, const char* name, const CopyTarget& target,
                                                      struct stat& status) const;
  [[nodiscard]] std::unique_ptr<CopyStep> specialStepFor(int folder, const char* name,
                                                         const CopyTarget& target,
                                                         const struct stat& status) const;
  [[nodiscard]] Descriptor openSource(int folder, const char* name) const;
  [[nodiscard]] Descriptor openLeased(int folder, const char* name) const;

  CopyRun& run_;
};

}  // namespace QVFoundation::detail
