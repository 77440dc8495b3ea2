#include <algorithm>
#include <optional>
#include <utility>

#include "QVFoundation/platform/concurrency/OperationQueueCore_p.h"
#include "QVFoundation/platform/concurrency/ThreadPool_p.h"
#include "QVFoundation/platform/runtime/ChangeNotice.h"
#include "QVFoundation/platform/runtime/EscapedException_p.h"

namespace QVFoundation::detail {

namespace {

/// The more urgent the lower.
std::size_t rankOf(NSOperationQueuePriority priority) noexcept {
  const int value = static_cast<int>(priority);
  return value >= 8 ? 0 : value >= 4 ? 1 : value > -4 ? 2 : value > -8 ? 3 : 4;
}

/// Tells observers of a queue, if somebody holds it, that what is on it changes.
class OperationsNotice {
public:
  explicit OperationsNotice(std::shared_ptr<NSObject> front) : front_(std::move(front)) {
    if (front_ == nullptr || !front_->mayBeObserved()) return;
    operations_.emplace(*front_, "operations");
    count_.emplace(*front_, "operationCount");
  }

private:
  const std::shared_ptr<NSObject> front_;
  std::optional<ChangeNotice> operations_;
  std::optional<ChangeNotice> count_;
};

}  // namespace

std::shared_ptr<NSObject> OperationQueueCore::front() const {
  const UnfairLockGuard guard(lock_);
  return front_.lock();
}

bool OperationQueueCore::add(const std::shared_ptr<NSOperation>& operation, bool isBarrier,
                             const std::weak_ptr<NSObject>& front) {
  if (!operation->join(shared_from_this())) return false;
  {
    const OperationsNotice notice(front.lock());
    const UnfairLockGuard guard(lock_);
    front_ = front;
    PlaceOnQueue& place = operation->place_;
    if (place.hasFinished) return true;  // somebody else has started it just now
    if (isBarrier) generations_.emplace_back();
    place.number = ++lastNumber_;
    place.generation = firstGeneration_ + generations_.size() - 1;
    ++generations_.back().unfinished;
    operations_.emplace_hint(operations_.end(), place.number, operation);
    if (isBarrier) generations_.emplace_back();
    if (generations_.front().unfinished == 0) {
      generations_.pop_front();  // a barrier that there is nothing before
      ++firstGeneration_;
    }
  }
  if (operation->isReady()) operationIsReady(operation);
  return true;
}

void OperationQueueCore::operationIsReady(const std::shared_ptr<NSOperation>& operation) {
  {
    const UnfairLockGuard guard(lock_);
    PlaceOnQueue& place = operation->place_;
    if (place.number == 0 || place.hasFinished || std::exchange(place.isOffered, true)) return;
    if (place.generation == firstGeneration_) {
      pushReady(operation);
    } else {
      generations_[place.generation - firstGeneration_].held.push_back(operation);
    }
  }
  startMore();
}

void OperationQueueCore::pushReady(const std::shared_ptr<NSOperation>& operation) {
  ready_[rankOf(operation->queuePriority())].push_back(operation);
}

std::shared_ptr<NSOperation> OperationQueueCore::takeReady() {
  if (isSuspended_ || (maxConcurrent_ >= 0 && running_ >= maxConcurrent_)) return nullptr;
  for (Operations& operations : ready_) {
    if (operations.empty()) continue;
    auto first = std::move(operations.front());
    operations.pop_front();
    if (first->place_.hasFinished) return first;  // without a slot
    ++running_;
    first->place_.isRunning = true;
    return first;
  }
  return nullptr;
}

void OperationQueueCore::startMore() {
  for (;;) {
    std::shared_ptr<NSOperation> next;
    bool hasFinished = false;
    QualityOfService qualityOfService{};
    {
      const UnfairLockGuard guard(lock_);
      next = takeReady();
      if (next == nullptr) return;
      hasFinished = next->place_.hasFinished;
      qualityOfService = qualityOfService_;
    }
    if (hasFinished) continue;  // somebody else has started it
    const auto& target = target_ != nullptr
                             ? target_
                             : DispatchQueue::global(next->qualityOfService().value_or(qualityOfService));
    target->async([self = shared_from_this(), operation = std::move(next)] { self->run(operation); });
  }
}

void OperationQueueCore::run(const std::shared_ptr<NSOperation>& operation) {
  if (operation->isFinished()) return;
  if (!operation->isReady()) return takeBack(operation);
  try {
    operation->start();
  } catch (...) {
    if (operation->hasBegun_) return;  // somebody else has started it
    if (!operation->isReady()) return takeBack(operation);
    endForEscapedException("The start of " + operation->shortDescription());
  }
}

void OperationQueueCore::takeBack(const std::shared_ptr<NSOperation>& operation) {
  {
    const UnfairLockGuard guard(lock_);
    --running_;
    operation->place_.isRunning = false;
    operation->place_.isOffered = false;
  }
  if (operation->isReady()) return operationIsReady(operation);  // it has become so again meanwhile
  startMore();
}

void OperationQueueCore::operationHasFinished(NSOperation& operation) noexcept {
  std::shared_ptr<NSOperation> finished;  // goes after the lock
  Waiter* waiter = nullptr;
  {
    const OperationsNotice notice(front());
    const UnfairLockGuard guard(lock_);
    PlaceOnQueue& place = operation.place_;
    place.hasFinished = true;
    if (place.number == 0) return;
    running_ -= place.isRunning ? 1 : 0;
    const auto entry = operations_.find(place.number);
    finished = std::move(entry->second);
    operations_.erase(entry);
    --generations_[place.generation - firstGeneration_].unfinished;
    while (generations_.size() > 1 && generations_.front().unfinished == 0) {
      generations_.pop_front();
      ++firstGeneration_;
      for (const auto& held : std::exchange(generations_.front().held, {})) pushReady(held);
    }
    if (operations_.empty()) waiter = std::exchange(waiters_, nullptr);
  }
  while (waiter != nullptr) std::exchange(waiter, waiter->next)->end.send();
  startMore();
}

void OperationQueueCore::awaitAll() {
  Waiter self;
  {
    const UnfairLockGuard guard(lock_);
    if (operations_.empty()) return;
    self.next = std::exchange(waiters_, &self);
  }
  const ThreadIsBlocked blocked;
  self.end.await();
}

void OperationQueueCore::setMaxConcurrent(int count) {
  {
    const UnfairLockGuard guard(lock_);
    maxConcurrent_ = std::max(count, -1);
  }
  startMore();
}

void OperationQueueCore::setSuspended(bool suspended) {
  {
    const UnfairLockGuard guard(lock_);
    isSuspended_ = suspended;
  }
  startMore();
}

void OperationQueueCore::setQualityOfService(QualityOfService qualityOfService) {
  const UnfairLockGuard guard(lock_);
  qualityOfService_ = qualityOfService;
}

void OperationQueueCore::setName(std::optional<std::string> name) {
  const UnfairLockGuard guard(lock_);
  name_.swap(name);
}

std::optional<std::string> OperationQueueCore::name() const {
  const UnfairLockGuard guard(lock_);
  return name_;
}

std::vector<std::shared_ptr<NSOperation>> OperationQueueCore::operations() const {
  const UnfairLockGuard guard(lock_);
  std::vector<std::shared_ptr<NSOperation>> operations;
  operations.reserve(operations_.size());
  for (const auto& [number, operation] : operations_) operations.push_back(operation);
  return operations;
}

std::size_t OperationQueueCore::count() const {
  const UnfairLockGuard guard(lock_);
  return operations_.size();
}

int OperationQueueCore::maxConcurrent() const {
  const UnfairLockGuard guard(lock_);
  return maxConcurrent_;
}

bool OperationQueueCore::isSuspended() const {
  const UnfairLockGuard guard(lock_);
  return isSuspended_;
}

QualityOfService OperationQueueCore::qualityOfService() const {
  const UnfairLockGuard guard(lock_);
  return qualityOfService_;
}

}  // namespace QVFoundation::detail
