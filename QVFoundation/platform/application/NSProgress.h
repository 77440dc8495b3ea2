#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/application/IntrusiveList.h"
#include "QVFoundation/platform/concurrency/ThreadSafety.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation {

namespace detail {
class ProgressChange;
}

/// How far a piece of work has come, as a tree: a part of the work has a progress of its own, which counts in
/// units of its own, and stands for so many units of the whole.
///
/// ```cpp
/// const auto whole = std::make_shared<NSProgress>(100);
/// const auto reading = std::make_shared<NSProgress>(rows.size());
/// whole->addChild(reading, 30);              // reading is 30 of the 100 units
/// for (const Row& row : rows) {
///   read(row);
///   reading->addCompletedUnitCount(1);
/// }                                          // whole->completedUnitCount() is 30
/// ```
///
/// | total | completed | is | fraction |
/// |---|---|---|---|
/// | negative | any | indeterminate | 0 |
/// | any | negative | indeterminate | 0 |
/// | 0 | 0 | indeterminate: the work may not know its size yet | 0 |
/// | n | less than n | on its way | completed units and the shares of the children, of n; never above 1 |
/// | n | n or more, and more than 0 | finished; its children count no more | 1 |
///
/// A child that finishes leaves the tree, and its parent counts all that it stood for as completed, to the
/// unit.
///
/// Reporting is cheap, so report every unit: while nobody observes a progress or one above it, a report is
/// two atomic operations, and fractions are computed when somebody reads them.
///
/// Observable: "totalUnitCount", "completedUnitCount", "fractionCompleted", "isIndeterminate", "isFinished",
/// "isCancelled", "isPaused", "isCancellable", "isPausable", "localizedDescription",
/// "localizedAdditionalDescription", "kind", "userInfo", "throughput", "estimatedTimeRemaining",
/// "fileOperationKind", "fileTotalCount", "fileCompletedCount". Observers are told on the thread that
/// reports, of the fraction also where it changed further down.
///
/// Threads: any, at any time.
/// Ownership: held by `std::shared_ptr`. A parent keeps its children until they finish; a child does not keep
/// its parent.
/// Errors: what a handler throws ends the process.
class QV_EXPORT NSProgress : public NSObject {
public:
  static const NSClass& staticClass();
  const NSClass& dynamicClass() const override { return staticClass(); }

  explicit NSProgress(std::int64_t totalUnitCount = 0);
  /// Its children go on, each for itself.
  ~NSProgress() override;

  // Counting

  [[nodiscard]] std::int64_t totalUnitCount() const noexcept { return total_.load(); }
  void setTotalUnitCount(std::int64_t count);
  [[nodiscard]] std::int64_t completedUnitCount() const noexcept { return completed_.load(); }
  void setCompletedUnitCount(std::int64_t count);
  /// Adds to the completed units; no unit is lost when several threads do.
  void addCompletedUnitCount(std::int64_t units);

  /// From 0 to 1, with the shares of all descendants.
  [[nodiscard]] double fractionCompleted() const;
  [[nodiscard]] bool isIndeterminate() const noexcept;
  [[nodiscard]] bool isFinished() const noexcept;

  // The tree

  /// Has a child stand for some of this one's units. One that is finished counts at once; a cancelled or
  /// paused parent cancels or pauses it. Raises `NSInvalidArgumentException` where it has a parent already or
  /// is above this one, and for a negative count.
  void addChild(const std::shared_ptr<NSProgress>& child, std::int64_t withPendingUnitCount);
  /// Counts all that a child stands for as completed, however far it came; it leaves the tree. Does nothing
  /// where it is no child of this one.
  void endChild(NSProgress& child);
  /// Null at the top, and for one that has finished.
  [[nodiscard]] std::shared_ptr<NSProgress> parent() const;
  /// Those that have not finished, in the order in which they were added.
  [[nodiscard]] std::vector<std::shared_ptr<NSProgress>> children() const;

  // Control: each reaches all descendants, from the top down, and those that are added later

  /// Whether a button for it makes sense; `cancel` works all the same.
  [[nodiscard]] bool isCancellable() const noexcept { return isCancellable_; }
  void setCancellable(bool cancellable);
  [[nodiscard]] bool isPausable() const noexcept { return isPausable_; }
  void setPausable(bool pausable);

  /// Once and for all.
  void cancel();
  [[nodiscard]] bool isCancelled() const noexcept { return isCancelled_; }
  void pause();
  void resume();
  [[nodiscard]] bool isPaused() const noexcept { return isPaused_; }

  using Handler = std::function<void()>;
  /// Called once, on the thread that cancels this one or one above it. One that comes too late for that is
  /// called at once.
  void setCancellationHandler(Handler handler);
  [[nodiscard]] Handler cancellationHandler() const;
  /// Called for each change, one at a time and in turn. A pausing handler that is set while paused, where
  /// there was none, is called at once.
  void setPausingHandler(Handler handler);
  [[nodiscard]] Handler pausingHandler() const;
  void setResumingHandler(Handler handler);
  [[nodiscard]] Handler resumingHandler() const;

  // For people

  /// What is going on. Until somebody sets it: the percentage, or what happens to the files.
  [[nodiscard]] std::string localizedDescription() const;
  /// Absent for the default.
  void setLocalizedDescription(std::optional<std::string> description);
  /// The details. Until somebody sets them: the counts, the throughput where it is of files, and the time
  /// that is left.
  [[nodiscard]] std::string localizedAdditionalDescription() const;
  void setLocalizedAdditionalDescription(std::optional<std::string> description);

  /// What its units are: `NSProgressKindFile`, one of your own, or absent.
  [[nodiscard]] std::optional<std::string> kind() const;
  void setKind(std::optional<std::string> kind);
  [[nodiscard]] Dictionary userInfo() const;
  /// A value that is nothing removes the key.
  void setUserInfoObject(const Value& object, std::string_view forKey);

  // Known parts of the user info

  /// Units a second.
  [[nodiscard]] std::optional<std::int64_t> throughput() const;
  void setThroughput(std::optional<std::int64_t> unitsPerSecond);
  [[nodiscard]] std::optional<std::chrono::duration<double>> estimatedTimeRemaining() const;
  void setEstimatedTimeRemaining(std::optional<std::chrono::duration<double>> time);
  /// Such as `NSProgressFileOperationKindCopying`.
  [[nodiscard]] std::optional<std::string> fileOperationKind() const;
  void setFileOperationKind(std::optional<std::string> kind);
  [[nodiscard]] std::optional<std::int64_t> fileTotalCount() const;
  void setFileTotalCount(std::optional<std::int64_t> count);
  [[nodiscard]] std::optional<std::int64_t> fileCompletedCount() const;
  void setFileCompletedCount(std::optional<std::int64_t> count);

  [[nodiscard]] std::string description() const override;
  /// "name", "parent", "completed" and "description" beside what every object tells.
  [[nodiscard]] Dictionary debugDictionary() const override;

private:
  friend class detail::ProgressChange;

  /// Sums of shares count in 2⁻⁶² of a unit, exactly, so that nothing drifts however often they change.
  __extension__ using Share = unsigned __int128;
  using Links = detail::ListLinks<NSProgress>;
  struct Counts;
  struct Details;

  // How changes get about: see NSProgressCounting.cpp.
  [[nodiscard]] Counts counts() const noexcept;
  template <class After, class Change>
  void changeCompleted(After after, Change change);
  template <class After, class Change>
  void changeAndTell(After after, Change change);
  struct Observed;
  /// False where somebody wants to know before the change, or there are too many.
  [[nodiscard]] bool findObserved(Observed& observed) noexcept QV_REQUIRES(treeLock_);
  template <class Change>
  void tellChange(std::string_view key, const Counts& after, const Change& change);
  void tellChangeOfTree(std::string_view key, const Counts& after,
                        const std::function<std::uint64_t()>& change);
  void tellLate(std::string_view key, std::uint64_t observations);
  static constexpr std::uint64_t neverObserved = 0;
  /// Whoever has come to be observed since so many had been is told late.
  void spreadChange(std::uint64_t observations);
  void countCompleted(std::int64_t units) noexcept QV_REQUIRES(treeLock_);
  [[nodiscard]] std::shared_ptr<NSProgress> countInParentIfFinished();
  [[nodiscard]] bool verifyUnobserved() noexcept QV_REQUIRES(treeLock_);
  void markStale() noexcept QV_REQUIRES(treeLock_);
  void markFresh() noexcept QV_REQUIRES(treeLock_);
  [[nodiscard]] bool isStale() const noexcept;
  void refresh() noexcept QV_REQUIRES(treeLock_);
  void computeFraction() noexcept QV_REQUIRES(treeLock_);
  void takeShareOf(NSProgress& child) noexcept QV_REQUIRES(treeLock_);

  // The tree: see NSProgressTree.cpp.
  [[nodiscard]] const char* whyNotAbove(const NSProgress& child) const noexcept QV_REQUIRES(treeLock_);
  /// Returns by how much it has raised the number of first observations, so that notes which have become
  /// untrue are looked at anew.
  std::uint64_t attach(const std::shared_ptr<NSProgress>& child, std::int64_t pending) QV_REQUIRES(treeLock_);
  /// Returns what kept the child, for after the lock.
  [[nodiscard]] std::shared_ptr<NSProgress> detach(NSProgress& child) noexcept QV_REQUIRES(treeLock_);
  /// The one after `each` on the way through all below this one, from the top down.
  [[nodiscard]] NSProgress* nextBelow(const NSProgress& each) const noexcept QV_REQUIRES(treeLock_);

  // Control: see NSProgressControl.cpp.
  void setPausedInTree(bool paused);
  void wantPause(bool paused, std::vector<std::shared_ptr<NSProgress>>& changed) QV_REQUIRES(treeLock_);
  void wantCancel(std::vector<std::shared_ptr<NSProgress>>& changed) QV_REQUIRES(treeLock_);
  void tellPauses();
  void tellCancellation();
  [[nodiscard]] std::shared_ptr<const Handler> pauseHandler(bool pauses) const;
  [[nodiscard]] Handler handlerOf(std::shared_ptr<const Handler> Details::* handler) const;

  // What is told about it: see NSProgressDetails.cpp.
  [[nodiscard]] Details& details() QV_REQUIRES(lock_);
  template <class Content>
  [[nodiscard]] Content detail(Content Details::* detail) const;
  template <class Content>
  void setDetail(std::string_view key, Content Details::* detail, Content content);
  [[nodiscard]] std::string defaultDescription() const;
  [[nodiscard]] std::string defaultAdditionalDescription() const;

  // One lock for the structure of all trees. It is held for some steps up a tree, or while a fraction takes
  // in what has changed below.
  static UnfairLock treeLock_;

  std::atomic<std::int64_t> total_;
  std::atomic<std::int64_t> completed_{0};
  std::atomic<std::uint64_t> mark_{0};  // written under the tree's lock
  double fraction_ QV_GUARDED_BY(treeLock_) = 0;

  NSProgress* parent_ QV_GUARDED_BY(treeLock_) = nullptr;
  std::shared_ptr<NSProgress> keptByParent_ QV_GUARDED_BY(treeLock_);
  std::int64_t pending_ QV_GUARDED_BY(treeLock_) = 0;  // units that it stands for in its parent
  Share share_ QV_GUARDED_BY(treeLock_) = 0;           // of them, as its parent counts it
  Share sharesOfChildren_ QV_GUARDED_BY(treeLock_) = 0;
  Links siblings_ QV_GUARDED_BY(treeLock_);
  Links staleSiblings_ QV_GUARDED_BY(treeLock_);
  detail::IntrusiveList<NSProgress, &NSProgress::siblings_> children_ QV_GUARDED_BY(treeLock_);
  detail::IntrusiveList<NSProgress, &NSProgress::staleSiblings_> staleChildren_ QV_GUARDED_BY(treeLock_);
  bool isListedStale_ QV_GUARDED_BY(treeLock_) = false;

  // What it has still to be told is what it wants and is not yet.
  bool wantsCancel_ QV_GUARDED_BY(treeLock_) = false;
  bool wantsPause_ QV_GUARDED_BY(treeLock_) = false;
  bool isTellingPause_ QV_GUARDED_BY(treeLock_) = false;
  bool hasHandledPause_ QV_GUARDED_BY(treeLock_) = false;
  std::atomic<bool> isCancelled_{false};
  std::atomic<bool> isPaused_{false};
  std::atomic<bool> isCancellable_{true};
  std::atomic<bool> isPausable_{false};

  mutable UnfairLock lock_;                                // taken after the tree's
  std::unique_ptr<Details> details_ QV_GUARDED_BY(lock_);  // null while there are none
};

}  // namespace QVFoundation
