#include "QVFoundation/platform/concurrency/MainQueue.h"

#include <cerrno>
#include <cstdint>
#include <poll.h>
#include <string>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/concurrency/MainQueueDrain_p.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"
#include "QVFoundation/platform/concurrency/WorkList_p.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/NSErrorKeys.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {

namespace {

class MainQueue final : public DispatchQueue {
public:
  MainQueue() : DispatchQueue("main"), descriptor_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (descriptor_ >= 0) return;
    throw NSError(NSPOSIXErrorDomain, errno,
                  {{NSLocalizedFailureErrorKey, "The main queue cannot be opened."}});
  }

  static const std::shared_ptr<MainQueue>& shared() {
    static const auto& queue = *new std::shared_ptr<MainQueue>(std::make_shared<MainQueue>());
    return queue;
  }

  [[nodiscard]] int descriptor() const noexcept { return descriptor_; }
  [[nodiscard]] bool isCurrent() const noexcept override { return isMainThread(); }

  void drain() {
    const bool isWithin = isDraining_;
    runWaiting([] { return false; });
    if (!isWithin) endDrain();
  }

  void runUntilStopped() {
    while (stops_ == 0) {
      if (!runWaiting([this] { return stops_ > 0; })) awaitMore();
      endDrain();
    }
    --stops_;
  }

  void atEndOfDrain(detail::Work work) {
    if (!isMainThread()) {
      return enqueue([this, work = std::move(work)]() mutable { atEndOfDrain(std::move(work)); });
    }
    if (!isDraining_) enqueue([] {});  // so that there is one
    atEnd_.push_back(std::move(work));
  }
  void stop() {
    enqueue([this] { ++stops_; });
  }

protected:
  void enqueue(detail::Work&& work) override {
    const UnfairLockGuard guard(lock_);
    if (waiting_.empty()) makeReadable();
    waiting_.push(std::move(work));
  }

private:
  /// Runs the blocks that wait now, but for those after one that ends it. False where there were none.
  template <class Condition>
  bool runWaiting(const Condition& ends) {
    const std::size_t count = countWaiting();
    const bool isWithin = std::exchange(isDraining_, true);
    for (std::size_t left = count; left > 0 && !ends(); --left) runOne();
    isDraining_ = isWithin;
    return count > 0;
  }
  // What it adds is for the next one.
  void endDrain() {
    for (detail::Work& work : std::exchange(atEnd_, {})) run(std::move(work));
  }

  [[nodiscard]] std::size_t countWaiting() {
    const UnfairLockGuard guard(lock_);
    return waiting_.count();
  }

  /// False where none waits.
  bool runOne() {
    detail::Work work;
    {
      const UnfairLockGuard guard(lock_);
      if (waiting_.empty()) return false;
      work = waiting_.pop();
      if (waiting_.empty()) makeUnreadable();
    }
    run(std::move(work));
    return true;
  }

  void makeReadable() const noexcept {
    const std::uint64_t one = 1;
    (void)!::write(descriptor_, &one, sizeof one);
  }
  void makeUnreadable() const noexcept {
    std::uint64_t count = 0;
    (void)!::read(descriptor_, &count, sizeof count);
  }
  void awaitMore() const noexcept {
    pollfd readable{.fd = descriptor_, .events = POLLIN, .revents = 0};
    (void)::poll(&readable, 1, -1);  // an interruption only has the queue looked at once more
  }

  const int descriptor_;
  // The main thread's.
  unsigned stops_ = 0;  // for which no run has returned yet
  bool isDraining_ = false;
  std::vector<detail::Work> atEnd_;
  UnfairLock lock_;
  detail::WorkList waiting_ QV_GUARDED_BY(lock_);
};

MainQueue& onMainThread(const char* function) {
  if (isMainThread()) return *MainQueue::shared();
  throw NSException(NSInternalInconsistencyException,
                    std::string(function) + " must be called on the main thread");
}

}  // namespace

const std::shared_ptr<DispatchQueue>& DispatchQueue::main() {
  static const auto& queue = *new std::shared_ptr<DispatchQueue>(MainQueue::shared());
  return queue;
}

bool isMainThread() noexcept {
  static thread_local const bool isMain = ::getpid() == ::gettid();
  return isMain;
}

void runMainQueue() { onMainThread("runMainQueue").runUntilStopped(); }
void stopMainQueue() { MainQueue::shared()->stop(); }
void drainMainQueue() { onMainThread("drainMainQueue").drain(); }
int mainQueueFileDescriptor() { return MainQueue::shared()->descriptor(); }

void detail::atEndOfMainQueueDrain(Work work) { MainQueue::shared()->atEndOfDrain(std::move(work)); }

}  // namespace QVFoundation
