#include "QVFoundation/platform/concurrency/DispatchQueue.h"

#include "QVFoundation/platform/concurrency/CurrentTask_p.h"
#include "QVFoundation/platform/concurrency/SteadyTime_p.h"
#include "QVFoundation/platform/concurrency/ThreadPool_p.h"
#include "QVFoundation/platform/concurrency/TimerThread_p.h"
#include "QVFoundation/platform/concurrency/WakeUp_p.h"
#include "QVFoundation/platform/runtime/EscapedException_p.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {

namespace {

/// The queues whose blocks this thread is just running, the innermost first.
struct RunningBlock {
  const DispatchQueue* queue;
  const RunningBlock* outer;
};

constinit thread_local const RunningBlock* runningBlock = nullptr;

/// Brings a block to its queue when its time has come.
class DelayedWork final : public detail::TimedEvent {
public:
  DelayedWork(std::function<void(detail::Work)> enqueue, detail::Work work)
      : enqueue_(std::move(enqueue)), work_(std::move(work)) {}
  void fire() noexcept override { enqueue_(std::move(work_)); }

private:
  const std::function<void(detail::Work)> enqueue_;
  detail::Work work_;
};

}  // namespace

void detail::refuseEmptyBlock() {
  throw NSException(NSInvalidArgumentException, "The block for a queue is empty");
}

DispatchQueue::DispatchQueue(std::string label) : label_(std::move(label)) {}

bool DispatchQueue::isCurrent() const noexcept {
  for (const RunningBlock* block = runningBlock; block != nullptr; block = block->outer) {
    if (block->queue == this) return true;
  }
  return false;
}

bool DispatchQueue::isInnermost() const noexcept {
  return runningBlock != nullptr && runningBlock->queue == this;
}

void DispatchQueue::run(detail::Work work) const noexcept {
  const detail::NoTask noTask;
  const RunningBlock here{this, runningBlock};
  runningBlock = &here;
  try {
    work();
  } catch (...) {
    detail::endForEscapedException("A block on the queue \"" + label_ + '"');
  }
  work.reset();
  runningBlock = here.outer;
}

void DispatchQueue::runAndWait(const std::function<void()>& block) {
  if (isCurrent()) return block();
  detail::WakeUp done;
  enqueue(detail::Work([&] {
    block();
    done.send();
  }));
  const detail::ThreadIsBlocked blocked;
  done.await();
}

void DispatchQueue::enqueueAfter(std::chrono::nanoseconds delay, detail::Work work) {
  const auto enqueueHere = [queue = shared_from_this()](detail::Work due) { queue->enqueue(std::move(due)); };
  detail::TimerThread::steady().schedule(std::make_shared<DelayedWork>(enqueueHere, std::move(work)),
                                         detail::timeAfter(delay).time_since_epoch());
}

}  // namespace QVFoundation
