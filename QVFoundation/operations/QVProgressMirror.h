#pragma once

#include <memory>
#include <string>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/application/NSProgress.h"
#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/concurrency/DispatchTimerSource.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation {

/// Copies the state of one progress to another, five times a second, on a queue: so that what a user
/// interface is bound to changes on the main thread alone, and no oftener than a person can see.
///
/// ```cpp
/// const auto shown = std::make_shared<NSProgress>();
/// const auto mirror = std::make_shared<QVProgressMirror>(operation->progress(), shown, DispatchQueue::main());
/// ```
///
/// A destination has 10,000 units, whatever the source counts in; fractions of a unit are dropped: one of
/// three is 3,333. While the source is indeterminate its counts are copied as they are. Each copy is a
/// whole one, whether the source has changed or not. Its texts are also set on all above the destination.
///
/// Threads: any. The destination is written on the queue alone, and by those who call
/// `updateDestinationProgress`.
/// Ownership: held by `std::shared_ptr`; keeps source and destination. It ends when it is let go of.
class QV_EXPORT QVProgressMirror : public NSObject {
public:
  static const NSClass& staticClass();
  const NSClass& dynamicClass() const override { return staticClass(); }

  /// Begins at once.
  QVProgressMirror(std::shared_ptr<NSProgress> sourceProgress,
                   std::shared_ptr<NSProgress> destinationProgress, std::shared_ptr<DispatchQueue> queue);
  ~QVProgressMirror() override;

  [[nodiscard]] const std::shared_ptr<NSProgress>& sourceProgress() const noexcept { return source_; }
  [[nodiscard]] const std::shared_ptr<NSProgress>& destinationProgress() const noexcept {
    return destination_;
  }
  [[nodiscard]] const std::shared_ptr<DispatchQueue>& queue() const noexcept { return queue_; }
  /// Null once it is invalidated.
  [[nodiscard]] std::shared_ptr<DispatchTimerSource> timer() const;

  /// One copy.
  void updateDestinationProgress();
  /// Ends it; the destination keeps what it has. Waits for a copy that is just being made elsewhere.
  void invalidate();

  [[nodiscard]] std::string description() const override;

private:
  const std::shared_ptr<NSProgress> source_;
  const std::shared_ptr<NSProgress> destination_;
  const std::shared_ptr<DispatchQueue> queue_;
  mutable UnfairLock lock_;
  std::shared_ptr<DispatchTimerSource> timer_ QV_GUARDED_BY(lock_);
};

}  // namespace QVFoundation
