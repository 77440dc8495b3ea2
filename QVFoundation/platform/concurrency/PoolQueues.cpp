#include <array>
#include <atomic>

#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/concurrency/ReservedQueue_p.h"
#include "QVFoundation/platform/concurrency/ThreadPool_p.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"
#include "QVFoundation/platform/concurrency/WorkList_p.h"

namespace QVFoundation {

namespace {

class GlobalQueue final : public DispatchQueue {
public:
  GlobalQueue(const char* label, QualityOfService qualityOfService, detail::ThreadPool& pool)
      : DispatchQueue(label), pool_(pool), qualityOfService_(qualityOfService) {}
  bool runsSideBySide() const noexcept override { return true; }

protected:
  void enqueue(detail::Work&& work) override { pool_.submit(std::move(work), qualityOfService_); }
  void runAndWait(const std::function<void()>& block) override { block(); }

private:
  detail::ThreadPool& pool_;
  const QualityOfService qualityOfService_;
};

/// What its own blocks send to it needs no lock, as long as nobody else has sent anything before.
class SerialQueue final : public DispatchQueue {
public:
  SerialQueue(std::string label, QualityOfService qualityOfService)
      : DispatchQueue(std::move(label)), qualityOfService_(qualityOfService) {}

protected:
  void enqueue(detail::Work&& work) override {
    if (isInnermost() && !hasWaiting_.load(std::memory_order_relaxed)) return taken_.push(std::move(work));
    {
      const UnfairLockGuard guard(lock_);
      waiting_.push(std::move(work));
      hasWaiting_.store(true, std::memory_order_relaxed);
      if (std::exchange(isServed_, true)) return;
    }
    serveLater();
  }

private:
  // Then others have their turn, if there are any.
  static constexpr int worksInARow = 64;

  void serveLater() {
    auto self = std::static_pointer_cast<SerialQueue>(shared_from_this());
    detail::ThreadPool::shared().submit([self = std::move(self)] { self->serve(); }, qualityOfService_);
  }

  void serve() {
    do {
      for (int i = 0; i < worksInARow; ++i) {
        if (taken_.empty() && !takeAll()) return;
        run(taken_.pop());
      }
    } while (!detail::ThreadPool::shared().hasWork());
    serveLater();
  }

  /// False where nothing waits: from then on somebody else may serve.
  [[nodiscard]] bool takeAll() {
    const UnfairLockGuard guard(lock_);
    swap(taken_, waiting_);
    hasWaiting_.store(false, std::memory_order_relaxed);
    isServed_ = !taken_.empty();
    return isServed_;
  }

  const QualityOfService qualityOfService_;
  detail::WorkList taken_;  // belongs to the thread that serves
  std::atomic<bool> hasWaiting_{false};
  UnfairLock lock_;
  detail::WorkList waiting_ QV_GUARDED_BY(lock_);
  bool isServed_ QV_GUARDED_BY(lock_) = false;
};

}  // namespace

const std::shared_ptr<DispatchQueue>& DispatchQueue::global(QualityOfService qualityOfService) {
  const auto make = [](QualityOfService its, const char* label) -> std::shared_ptr<DispatchQueue> {
    return std::make_shared<GlobalQueue>(label, its, detail::ThreadPool::shared());
  };
  static const auto& queues = *new std::array{
      make(QualityOfService::background, "background"), make(QualityOfService::utility, "utility"),
      make(QualityOfService::standard, "standard"), make(QualityOfService::userInitiated, "user initiated"),
      make(QualityOfService::userInteractive, "user interactive")};
  return queues[static_cast<std::size_t>(qualityOfService)];
}

const std::shared_ptr<DispatchQueue>& detail::reservedQueue() {
  static const auto& queue = *new std::shared_ptr<DispatchQueue>(std::make_shared<GlobalQueue>(
      "reserved", QualityOfService::standard, *new ThreadPool(2, ThreadPool::idleTimeOfShared)));
  return queue;
}

std::shared_ptr<DispatchQueue> DispatchQueue::serial(std::string label, QualityOfService qualityOfService) {
  return std::make_shared<SerialQueue>(std::move(label), qualityOfService);
}

}  // namespace QVFoundation
