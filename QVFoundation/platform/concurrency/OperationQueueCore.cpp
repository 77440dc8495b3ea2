#include <algorithm>
#include <chrono>
#include <limits>
#include <optional>
#include <thread>
#include <utility>

#include "QVFoundation/platform/concurrency/OperationQueueCore_p.h"
#include "QVFoundation/platform/concurrency/ThreadPool_p.h"
#include "QVFoundation/platform/runtime/ChangeNotice.h"
#include "QVFoundation/platform/runtime/EscapedException_p.h"

namespace QVFoundation::detail {

namespace {

using Clock = std::chrono::steady_clock;
using State = PlaceOnQueue::State;

constexpr auto unlimited = std::numeric_limits<std::size_t>::max();
// How long a ticket may take one operation after the other. Then others have their turn.
constexpr auto turn = std::chrono::microseconds(100);

/// Whose ticket this thread is using, which keeps it.
class Serving {
public:
  explicit Serving(const OperationQueueCore* core) noexcept : outer_(std::exchange(served_, core)) {}
  Serving(const Serving&) = delete;
  Serving& operator=(const Serving&) = delete;
  ~Serving() { served_ = outer_; }

  [[nodiscard]] static bool is(const OperationQueueCore* core) noexcept { return served_ == core; }

private:
  static constinit thread_local const OperationQueueCore* served_;
  const OperationQueueCore* const outer_;
};

constinit thread_local const OperationQueueCore* Serving::served_ = nullptr;

/// The more urgent the lower.
std::uint8_t rankOf(NSOperationQueuePriority priority) noexcept {
  const int value = static_cast<int>(priority);
  return value >= 8 ? 0 : value >= 4 ? 1 : value > -4 ? 2 : value > -8 ? 3 : 4;
}

constexpr std::size_t levelOf(QualityOfService qualityOfService) noexcept {
  return static_cast<std::size_t>(qualityOfService);
}

/// Tells observers of a queue that what is on it changes.
class OperationsNotice {
public:
  explicit OperationsNotice(NSObject& front)
      : operations_(front, "operations"), count_(front, "operationCount") {}

private:
  const ChangeNotice operations_;
  const ChangeNotice count_;
};

}  // namespace

// On the main thread each operation has a ticket of its own, so that the main loop has its turn between them.
OperationQueueCore::OperationQueueCore(NSObject& front, std::shared_ptr<DispatchQueue> target) noexcept
    : target_(std::move(target)),
      ticketsAtMost_(target_ != nullptr ? unlimited
                                        : std::max<std::size_t>(2, std::thread::hardware_concurrency())),
      front_(&front) {}

class QV_SCOPED_CAPABILITY OperationQueueCore::Section {
public:
  explicit Section(OperationQueueCore& core) noexcept QV_ACQUIRE(core.lock_) : core_(core) {
    core_.lock_.lock();
    core_.takeIn();
  }
  ~Section() QV_RELEASE() {
    const Ticket ticket = core_.missingTicket();
    PlaceOnQueue* refused = std::exchange(core_.refused_, nullptr);
    core_.lock_.unlock();
    core_.send(ticket);
    while (refused != nullptr) {
      const auto operation = std::move(std::exchange(refused, refused->amongAll.next)->operation);
    }
  }
  Section(const Section&) = delete;
  Section& operator=(const Section&) = delete;

private:
  OperationQueueCore& core_;
};

void OperationQueueCore::withdrawFront() {
  const Section section(*this);
  front_ = nullptr;
}

std::shared_ptr<NSObject> OperationQueueCore::observedFront() const {
  return front_ != nullptr && front_->mayBeObserved() ? front_->weak_from_this().lock() : nullptr;
}

bool OperationQueueCore::add(NSObject& front, const std::shared_ptr<NSOperation>& operation, bool isBarrier) {
  if (!operation->join(*this)) return false;
  if (!isBarrier && !front.mayBeObserved()) {
    leaveAtDoor(operation);
    if (front.mayBeObserved()) const OperationsNotice notice(front);  // to who has come meanwhile
    return true;
  }
  try {
    const OperationsNotice notice(front);
    const Section section(*this);
    insert(operation, isBarrier);
  } catch (...) {
    operation->leave();  // observers may throw before it is there
    throw;
  }
  if (operation->isReady()) operationIsReady(*operation);  // not before observers have heard of it
  return true;
}

// A ticket says first that it is no more on its way, and looks at the door then. So either it sees the
// operation there, or it is seen here that nobody will look.
void OperationQueueCore::leaveAtDoor(const std::shared_ptr<NSOperation>& operation) noexcept {
  const auto level = static_cast<int>(operation->qualityOfService().value_or(qualityOfService_));
  PlaceOnQueue& place = operation->place_;
  place.operation = operation;
  PlaceOnQueue* before = door_.load();
  do place.amongAll.previous = before;
  while (!door_.compare_exchange_weak(before, &place));
  if (level > awaitedLevel_) const Section section(*this);
}

void OperationQueueCore::takeIn() noexcept {
  if (door_.load() == nullptr) return;
  PlaceOnQueue* first = nullptr;
  for (PlaceOnQueue* place = door_.exchange(nullptr); place != nullptr;) {
    place->amongAll.next = std::exchange(first, place);
    place = place->amongAll.previous;
  }
  while (first != nullptr) {
    PlaceOnQueue& place = *std::exchange(first, first->amongAll.next);
    if (place.state == State::hasFinished) {  // somebody else has started it just now
      place.amongAll.next = std::exchange(refused_, &place);
      continue;
    }
    append(place);
    if (place.operation->isReady()) makeReady(place);
  }
}

void OperationQueueCore::insert(const std::shared_ptr<NSOperation>& operation, bool isBarrier) {
  PlaceOnQueue& place = operation->place_;
  if (place.state == State::hasFinished) return;  // likewise
  if (isBarrier) {
    generations_.emplace_back();
    generations_.emplace_back();
  }
  place.operation = operation;
  append(place, isBarrier);
  leaveFinishedGenerations();  // where there is nothing before a barrier
}

void OperationQueueCore::append(PlaceOnQueue& place, bool isBarrier) noexcept {
  const std::size_t generation = generations_.size() - (isBarrier ? 2 : 1);
  place.state = State::waits;
  place.generation = firstGeneration_ + generation;
  ++generations_[generation].unfinished;
  operations_.append(place);
  if (count_++ == 0) self_ = shared_from_this();
}

void OperationQueueCore::operationIsReady(NSOperation& operation) {
  const Section section(*this);
  makeReady(operation.place_);
}

void OperationQueueCore::operationWillHaveOtherPriority() { const Section section(*this); }

void OperationQueueCore::operationHasOtherPriority(NSOperation& operation) {
  const Section section(*this);
  PlaceOnQueue& place = operation.place_;
  if (place.state != State::isReady || place.rank == rankOf(operation.queuePriority())) return;
  dropReady(place);
  pushReady(place);
}

void OperationQueueCore::makeReady(PlaceOnQueue& place) {
  if (place.state != State::waits) return;
  if (place.generation == firstGeneration_) return pushReady(place);
  place.state = State::isHeld;
  generations_[place.generation - firstGeneration_].held.append(place);
}

void OperationQueueCore::pushReady(PlaceOnQueue& place) {
  place.state = State::isReady;
  place.rank = rankOf(place.operation->queuePriority());
  place.qualityOfService = place.operation->qualityOfService().value_or(qualityOfService_);
  ready_[place.rank].append(place);
  ++readyAt_[levelOf(place.qualityOfService)];
}

void OperationQueueCore::dropReady(PlaceOnQueue& place) {
  ready_[place.rank].remove(place);
  --readyAt_[levelOf(place.qualityOfService)];
}

std::size_t OperationQueueCore::room() const {
  if (isSuspended_) return 0;
  return maxConcurrent_ < 0 ? unlimited : static_cast<std::size_t>(std::max(0, maxConcurrent_ - running_));
}

// More than that many would only wait beside each other: who takes an operation sees to it that another
// ticket follows. One that waits behind other work of its urgency does not count for what is more urgent.
OperationQueueCore::Ticket OperationQueueCore::missingTicket() {
  const std::size_t wanted = std::min(room(), ticketsAtMost_);
  std::size_t ready = 0, tickets = 0;
  Ticket missing;
  int awaitedLevel = none;
  for (std::size_t level = readyAt_.size(); level-- > 0;) {
    ready += readyAt_[level];
    tickets += ticketsAt_[level];
    if (!missing && tickets < std::min(ready, wanted)) {
      missing = static_cast<QualityOfService>(level);
      ++ticketsAt_[level];
      ++tickets_;
      ++tickets;
    }
    if (awaitedLevel == none && tickets >= std::max<std::size_t>(1, wanted)) {
      awaitedLevel = static_cast<int>(level);
    }
  }
  setAwaitedLevel(awaitedLevel);
  return missing;
}

void OperationQueueCore::setAwaitedLevel(int level) {
  if (awaitedLevel_.load(std::memory_order_relaxed) != level) awaitedLevel_ = level;
}

// Without memory for a ticket nothing would run any more.
void OperationQueueCore::send(Ticket ticket) noexcept {
  while (ticket) {
    const auto& target = target_ != nullptr ? target_ : DispatchQueue::global(*ticket);
    target->async([self = shared_from_this(), its = *ticket] { self->useTicket(its); });
    const UnfairLockGuard guard(lock_);
    ticket = missingTicket();
  }
}

void OperationQueueCore::useTicket(QualityOfService qualityOfService) {
  const Serving here(this);
  const auto began = Clock::now();
  std::shared_ptr<NSOperation> next;
  {
    const Section section(*this);
    --ticketsAt_[levelOf(qualityOfService)];
    --tickets_;
    setAwaitedLevel(none);
    takeIn();
    next = takeReady(0);
  }
  while (next != nullptr) {
    run(*next);
    next.reset();  // before another one is taken, for which its end may wait
    if (!mayGoOn(began)) return;
    const Section section(*this);
    next = takeReady(tickets_);
  }
}

bool OperationQueueCore::mayGoOn(Clock::time_point began) const noexcept {
  return target_ == nullptr && Clock::now() - began < turn;
}

std::shared_ptr<NSOperation> OperationQueueCore::takeReady(std::size_t ticketsOnTheirWay) {
  if (room() <= ticketsOnTheirWay) return nullptr;
  const auto operations = std::ranges::find_if_not(ready_, &ReadyOperations::empty);
  if (operations == ready_.end()) return nullptr;
  PlaceOnQueue& place = *operations->first();
  dropReady(place);
  place.state = State::isRunning;
  ++running_;
  return place.operation;
}

void OperationQueueCore::run(NSOperation& operation) {
  if (operation.isFinished()) return;
  if (!operation.isReady()) return takeBack(operation);
  try {
    operation.start();
  } catch (...) {
    if (operation.hasBegun_) return;  // somebody else has started it
    if (!operation.isReady()) return takeBack(operation);
    endForEscapedException("The start of " + operation.shortDescription());
  }
}

void OperationQueueCore::takeBack(NSOperation& operation) {
  const Section section(*this);
  if (operation.place_.state != State::isRunning) return;  // it has been finished by hand
  --running_;
  operation.place_.state = State::waits;
  if (operation.isReady()) makeReady(operation.place_);  // it has become so again meanwhile
}

void OperationQueueCore::operationHasFinished(NSOperation& operation) noexcept {
  // Once the operation has gone, others may finish the last one and let go of the queue.
  const auto self = Serving::is(this) ? nullptr : shared_from_this();
  std::shared_ptr<NSObject> observed;
  Outcome outcome;
  {
    const Section section(*this);
    observed = observedFront();
    if (observed == nullptr) outcome = remove(operation.place_);
  }
  if (observed != nullptr) {
    const OperationsNotice notice(*observed);
    const Section section(*this);
    outcome = remove(operation.place_);
  }
  while (outcome.waiter != nullptr) std::exchange(outcome.waiter, outcome.waiter->next)->end.send();
}

OperationQueueCore::Outcome OperationQueueCore::remove(PlaceOnQueue& place) {
  removeFromWhereItStands(place);
  if (std::exchange(place.state, State::hasFinished) == State::absent) return {};
  operations_.remove(place);
  --count_;
  --generations_[place.generation - firstGeneration_].unfinished;
  leaveFinishedGenerations();
  Outcome outcome;
  outcome.finished = std::move(place.operation);
  if (count_ == 0) {
    outcome.waiter = std::exchange(waiters_, nullptr);
    outcome.self = std::move(self_);
  }
  return outcome;
}

void OperationQueueCore::removeFromWhereItStands(PlaceOnQueue& place) {
  if (place.state == State::isRunning) --running_;
  if (place.state == State::isReady) dropReady(place);
  if (place.state == State::isHeld) {
    generations_[place.generation - firstGeneration_].held.remove(place);
  }
}

void OperationQueueCore::leaveFinishedGenerations() {
  while (generations_.size() > 1 && generations_.front().unfinished == 0) {
    generations_.pop_front();
    ++firstGeneration_;
    ReadyOperations held = std::exchange(generations_.front().held, {});
    while (PlaceOnQueue* place = held.first()) {
      held.remove(*place);
      pushReady(*place);
    }
  }
}

void OperationQueueCore::awaitAll() {
  Waiter self;
  {
    const Section section(*this);
    if (operations_.empty()) return;
    self.next = std::exchange(waiters_, &self);
  }
  const ThreadIsBlocked blocked;
  self.end.await();
}

void OperationQueueCore::setMaxConcurrent(int count) {
  const Section section(*this);
  maxConcurrent_ = std::max(count, -1);
}

void OperationQueueCore::setSuspended(bool suspended) {
  const Section section(*this);
  isSuspended_ = suspended;
}

void OperationQueueCore::setName(std::optional<std::string> name) {
  const UnfairLockGuard guard(lock_);
  name_.swap(name);
}

std::optional<std::string> OperationQueueCore::name() const {
  const UnfairLockGuard guard(lock_);
  return name_;
}

std::vector<std::shared_ptr<NSOperation>> OperationQueueCore::operations() {
  const Section section(*this);
  std::vector<std::shared_ptr<NSOperation>> operations;
  operations.reserve(count_);
  for (const auto* place = operations_.first(); place != nullptr; place = Operations::after(*place)) {
    operations.push_back(place->operation);
  }
  return operations;
}

std::size_t OperationQueueCore::count() {
  const Section section(*this);
  return count_;
}

int OperationQueueCore::maxConcurrent() const {
  const UnfairLockGuard guard(lock_);
  return maxConcurrent_;
}

bool OperationQueueCore::isSuspended() const {
  const UnfairLockGuard guard(lock_);
  return isSuspended_;
}

}  // namespace QVFoundation::detail
