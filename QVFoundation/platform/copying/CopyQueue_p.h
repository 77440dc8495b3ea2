#pragma once

#include <deque>
#include <memory>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/NSCondition.h"
#include "QVFoundation/platform/copying/ContentCopy_p.h"

namespace QVFoundation::detail {

/// One step of a copy.
///
/// Threads: `prepare` on any, once; `finish` afterwards, on that of the copy.
class CopyStep {
public:
  CopyStep() = default;
  CopyStep(const CopyStep&) = delete;
  CopyStep& operator=(const CopyStep&) = delete;
  virtual ~CopyStep();

  /// Whether there is something that can be done ahead of the steps before it.
  [[nodiscard]] virtual bool canBePrepared() const noexcept { return false; }
  virtual void prepare(CopyBuffer& /*buffer*/) noexcept {}
  /// False to end the copy.
  [[nodiscard]] virtual bool finish(CopyBuffer& buffer) = 0;
};

/// Finishes steps in the order in which they come. Those that wait are prepared meanwhile: by other threads
/// of the pool, as far as there are any to be had, and by the one that would wait for them.
///
/// ```text
/// add →  [ waiting  waiting  prepared  preparing  waiting  prepared ]  → finish
/// ```
///
/// Threads: that of the copy.
class QV_TEST_EXPORT CopyQueue {
public:
  static constexpr std::size_t mostSteps = 64;

  /// Helpers are threads beside the calling one, at the most.
  explicit CopyQueue(unsigned helpers);
  CopyQueue(const CopyQueue&) = delete;
  CopyQueue& operator=(const CopyQueue&) = delete;
  /// Steps that were not finished are not any more; waits for those that are just being prepared.
  ~CopyQueue();

  // False from when a step says so: then none is finished any more.
  /// Where many wait already, finishes some.
  [[nodiscard]] bool add(std::unique_ptr<CopyStep> step);
  [[nodiscard]] bool finishAll();

  /// Lets all go that wait, and returns when none is being prepared any more.
  void finishNone();
  /// Returns when all that wait are prepared.
  void prepareAll();
  /// Of the steps that have come, how many.
  [[nodiscard]] std::uint64_t addedCount() const noexcept { return addedCount_; }

private:
  class Shared;

  [[nodiscard]] bool finishFirst();

  const unsigned mostHelpers_;
  const std::shared_ptr<Shared> shared_;  // with the helpers
  CopyBuffer buffer_;
  std::uint64_t addedCount_ = 0;
  bool isOver_ = false;
};

}  // namespace QVFoundation::detail
