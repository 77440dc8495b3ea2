#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "QVFoundation/operations/QVOperation.h"
#include "QVFoundation/operations/XRCopyFileDelegate.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/copying/CopyReport.h"
#include "QVFoundation/platform/files/NSURL.h"

namespace QVFoundation {

namespace detail {
struct CopyEvent;
}

/// Copies a file, or a folder with all that is in it, with progress that moves also within large files.
///
/// ```cpp
/// const auto copy = std::make_shared<XRCopyFileOperation>(photos, backup, CloneIfPossible::yes);
/// copy->startInBackgroundWithMainThreadCompletionHandler([](XRCopyFileOperation& copy) {
///   if (const auto result = copy.result()) tell(copy.report());
///   else present(result.error());
/// });
/// ```
///
/// It first runs a `QVCalculateFolderSizeOperation`; the bytes that it finds become the total of the
/// progress. That stage takes no units of its own. Where the source is no folder, its own size is the total.
/// A copy that succeeds ends exactly at its total, as long as nobody changes the source meanwhile.
///
/// Kept are holes, times, modes, owners, links, hard links among what is copied, extended attributes and
/// access lists. What of these cannot be kept is no failure: `report()` tells. No link is followed. The destination
/// must not exist, and must not lie in the source. Files appear under their names when they are whole.
///
/// A failure or a cancellation stops the copy at once. Files that are there by then stay, the one that
/// was begun does not.
///
/// The path of the file that is being copied is set as the additional description of the progress and all
/// above it, at most every 50 milliseconds. Where people are to see it, take it from there, or
/// from the copy for the main thread.
///
/// Threads: those of a `QVOperation`; in addition each member says its own.
/// Ownership: does not keep its delegate.
/// Errors: `NSPOSIXErrorDomain` with the `errno` and "Could not copy file PATH (REASON)"; 1002 of
/// `QVErrorDomain` after a cancellation; those of `QVCalculateFolderSizeOperation`, and then nothing is
/// copied; `NSFileReadUnsupportedSchemeError` where source or destination is no file's URL. The first one
/// counts.
class QV_EXPORT XRCopyFileOperation : public QVOperation, public QVSyncOperationProtocol<void> {
public:
  enum class CloneIfPossible { no, yes };

  static const NSClass& staticClass();
  const NSClass& dynamicClass() const override { return staticClass(); }

  /// Asked to clone, it has each file share its blocks with the source where the file system can do that, and
  /// copies it where it cannot.
  XRCopyFileOperation(NSURL sourceURL, NSURL destinationURL, CloneIfPossible cloneIfPossible);

  [[nodiscard]] const NSURL& sourceURL() const noexcept { return source_; }
  [[nodiscard]] const NSURL& destinationURL() const noexcept { return destination_; }
  [[nodiscard]] bool cloneIfPossible() const noexcept { return cloneIfPossible_ == CloneIfPossible::yes; }

  /// Whether a copy that has ended counts as done when the system has it, or when it is on the device. To be
  /// set before the start.
  [[nodiscard]] CopyFlushPolicy flushPolicy() const noexcept { return flushPolicy_; }
  void setFlushPolicy(CopyFlushPolicy policy) noexcept { flushPolicy_ = policy; }
  /// To be set before the start.
  [[nodiscard]] std::shared_ptr<XRCopyFileDelegate> copyDelegate() const { return delegate_.lock(); }
  void setCopyDelegate(const std::shared_ptr<XRCopyFileDelegate>& delegate) { delegate_ = delegate; }

  // On the operation's thread while it runs, as in the delegate; afterwards on any.

  /// The path of the file that is being copied, or of the link, the pipe and so on.
  [[nodiscard]] std::optional<std::string> currentFilePath() const;
  /// Bytes of that file which the progress has.
  [[nodiscard]] std::int64_t currentFileLastKnownBytesCopied() const noexcept { return lastKnownBytes_; }
  /// The first error that was met.
  [[nodiscard]] const std::optional<NSError>& fileCopyError() const noexcept { return fileCopyError_; }

  // On any thread, once it has ended.

  /// How many files and bytes were cloned, and how many copied, and what could not be kept.
  [[nodiscard]] const CopyReport& report() const noexcept { return report_; }
  /// For whoever wants to note it here. The copy itself never sets it, whatever it clones: `report()` knows.
  /// This is intended.
  [[nodiscard]] bool didPerformClone() const noexcept { return didPerformClone_; }
  void setDidPerformClone(bool didPerformClone);

  void perform() override;

private:
  void measure();
  [[nodiscard]] bool hear(const detail::CopyEvent& event);
  void beginFile(std::string_view path);
  void addBytes(std::int64_t copied);
  void showCurrentFile();
  void keepFirst(NSError error);

  const NSURL source_, destination_;
  const CloneIfPossible cloneIfPossible_;
  std::atomic<CopyFlushPolicy> flushPolicy_{CopyFlushPolicy::cached};
  std::atomic<bool> didPerformClone_{false};
  std::weak_ptr<XRCopyFileDelegate> delegate_;

  // The operation's thread's.
  std::shared_ptr<NSProgress> counted_;  // what bytes are added to while it runs
  std::string currentFilePath_;          // empty while there is none
  std::int64_t lastKnownBytes_ = 0;
  std::optional<NSError> fileCopyError_;
  CopyReport report_;
  bool isCurrentFileShown_ = false;
  std::chrono::steady_clock::time_point nextShow_;
};

}  // namespace QVFoundation
