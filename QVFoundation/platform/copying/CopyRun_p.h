#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/copying/CopyEngine_p.h"
#include "QVFoundation/platform/copying/CopyQueue_p.h"
#include "QVFoundation/platform/copying/HardLinks_p.h"
#include "QVFoundation/platform/copying/OpenFolders_p.h"

namespace QVFoundation::detail {

/// What the steps of one copy share: what is told to the outside, and what is known of both sides.
///
/// Threads: that of the copy; `options` and `abilities` any.
class CopyRun {
public:
  CopyRun(PathView source, PathView destination, const CopyOptions& wanted, const CopyCallback& callback,
          CopyReport& report);

  const CopyOptions options;
  CopyAbilities abilities;
  HardLinks hardLinks;
  CopyQueue queue;
  OpenFolders::Folder rootFolder;  // the new one, if it is a folder that is copied

  // What is told. False where nothing more is to be done.
  [[nodiscard]] bool tell(CopyItem item, CopyStage stage, const std::string& source, std::int64_t copied = 0);
  bool fail(CopyItem item, const std::string& source, int code);

  [[nodiscard]] CopyReport& report() noexcept { return report_; }
  void addLosses(std::vector<CopyLoss> losses);

  /// With `CopyFlushPolicy::written`, returns when the small file that a step has copied is on the device; it
  /// goes there with all that wait behind it. 0, or an `errno`.
  [[nodiscard]] int awaitWritten(std::uint64_t step, int folder);
  [[nodiscard]] int syncVolume(int folder) const;

  /// The path below the root of the copy, with a slash in front; empty for the root itself.
  [[nodiscard]] std::string_view below(std::string_view source) const noexcept {
    return source.substr(std::min(sourceLength_, source.size()));
  }
  /// Of the files that may be open some are kept back for the step that is to be finished, so that those which
  /// wait cannot take them all.
  void makeRoom() noexcept {
    for (Descriptor& file : room_) file.close();
  }
  void keepRoom() noexcept {
    for (Descriptor& file : room_) file = FileLocation(AT_FDCWD, "/").open(O_PATH);
  }

  [[nodiscard]] int result() const noexcept { return result_; }
  /// Whether what is thrown comes from the callback.
  [[nodiscard]] bool isInCallback() const noexcept { return isInCallback_; }

  /// Which item the copy is, once it is there.
  [[nodiscard]] const std::optional<ItemIdentity>& root() const noexcept { return root_; }
  void setRoot(const struct stat& made) noexcept { root_ = ItemIdentity::of(made); }
  void setRoot(const ItemIdentity& made) noexcept { root_ = made; }

private:
  const std::size_t sourceLength_;       // of the root's path, without a slash at the end
  std::string destination_;              // what was last told of
  const std::size_t destinationLength_;  // of the root's path
  const CopyCallback& callback_;
  CopyReport& report_;
  std::uint64_t writtenSteps_ = 0;
  int result_ = 0;
  std::array<Descriptor, 2> room_;
  std::optional<ItemIdentity> root_;
  bool isInCallback_ = false;
};

}  // namespace QVFoundation::detail
