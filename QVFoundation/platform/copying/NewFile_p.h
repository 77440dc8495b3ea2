#pragma once

#include <string_view>

#include "QVFoundation/platform/copying/CopyAbilities_p.h"
#include "QVFoundation/platform/files/WaitingFile_p.h"

namespace QVFoundation::detail {

/// A file that gets its name when it is whole. Until then it has none, so that nothing is left of it whatever
/// happens; or, where the file system has no such files, another one, with a dot in front.
///
/// Threads: one at a time.
/// Errors: `open` and `place` return 0, or an `errno`.
class NewFile {
public:
  /// The folder is borrowed.
  NewFile(int folder, CopyAbilities& abilities) noexcept : folder_(folder), abilities_(abilities) {}
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  /// Nobody but the owner may open a file that has a name by then; else the mode counts, less the process's
  /// mask.
  [[nodiscard]] int open(std::string_view name, mode_t mode);
  [[nodiscard]] int descriptor() const noexcept { return file_.number(); }
  static constexpr int onceMore = -1;
  /// Never in place of another item. `onceMore` where a file without a name can get none here: from then on
  /// files are made with one, so that it is worth another try.
  [[nodiscard]] int place(const char* name);

private:
  [[nodiscard]] int placeUnnamed(const char* name);
  [[nodiscard]] int codeOfLink() const noexcept;

  const int folder_;
  CopyAbilities& abilities_;
  Descriptor file_;
  WaitingFile waiting_;  // the other one
};

}  // namespace QVFoundation::detail
