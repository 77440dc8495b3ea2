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

void OperationQueueCore::withdrawFront() {
  const UnfairLockGuard guard(lock_);
  front_ = nullptr;
}

std::shared_ptr<NSObject> OperationQueueCore::observedFront() const {
  return front_ != nullptr && front_->mayBeObserved() ? front_->weak_from_this().lock() : nullptr;
}

bool OperationQueueCore::add(const std::shared_ptr<NSOperation>& operation, bool isBarrier) {
  if (!operation->join(shared_from_this())) return false;
  std::shared_ptr<NSObject> observed;
  Ticket ticket;
  {
    const UnfairLockGuard guard(lock_);
    observed = observedFront();
    if (observed == nullptr) {
      insert(operation, isBarrier);
      if (operation->isReady()) makeReady(operation->place_);
      ticket = missingTicket();
    }
  }
  if (observed == nullptr) {
    send(ticket);
    return true;
  }
  {
    const OperationsNotice notice(*observed);
    const UnfairLockGuard guard(lock_);
    insert(operation, isBarrier);
  }
  if (operation->isReady()) operationIsReady(*operation);  // not before observers have heard of it
  return true;
}

void OperationQueueCore::insert(const std::shared_ptr<NSOperation>& operation, bool isBarrier) {
  PlaceOnQueue& place = operation->place_;
  if (place.state == State::hasFinished) return;  // somebody else has started it just now
  if (isBarrier) generations_.emplace_back();
  place.operation = operation;
  place.state = State::waits;
  place.generation = firstGeneration_ + generations_.size() - 1;
  ++generations_.back().unfinished;
  operations_.append(place);
  ++count_;
  if (isBarrier) generations_.emplace_back();
  leaveFinishedGenerations();  // where there is nothing before a barrier
}

void OperationQueueCore::operationIsReady(NSOperation& operation) {
  Ticket ticket;
  {
    const UnfairLockGuard guard(lock_);
    makeReady(operation.place_);
    ticket = missingTicket();
  }
  send(ticket);
}

void OperationQueueCore::operationHasOtherPriority(NSOperation& operation) {
  const UnfairLockGuard guard(lock_);
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
  for (std::size_t level = readyAt_.size(); level-- > 0;) {
    ready += readyAt_[level];
    tickets += ticketsAt_[level];
    if (tickets >= std::min(ready, wanted)) continue;
    ++ticketsAt_[level];
    ++tickets_;
    return static_cast<QualityOfService>(level);
  }
  return {};
}

void OperationQueueCore::send(Ticket ticket) {
  while (ticket) {
    const auto& target = target_ != nullptr ? target_ : DispatchQueue::global(*ticket);
    target->async([self = shared_from_this(), its = *ticket] { self->useTicket(its); });
    const UnfairLockGuard guard(lock_);
    ticket = missingTicket();
  }
}

void OperationQueueCore::useTicket(QualityOfService qualityOfService) {
  const auto began = Clock::now();
  std::shared_ptr<NSOperation> next;
  Ticket ticket;
  {
    const UnfairLockGuard guard(lock_);
    --ticketsAt_[levelOf(qualityOfService)];
    --tickets_;
    next = takeReady(0);
    ticket = missingTicket();
  }
  while (next != nullptr) {
    send(ticket);
    run(*next);
    if (!mayGoOn(began)) return;
    std::shared_ptr<NSOperation> previous;  // goes after the lock
    const UnfairLockGuard guard(lock_);
    previous = std::exchange(next, takeReady(tickets_));
    ticket = missingTicket();
  }
  send(ticket);
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
  Ticket ticket;
  {
    const UnfairLockGuard guard(lock_);
    if (operation.place_.state != State::isRunning) return;  // it has been finished by hand
    --running_;
    operation.place_.state = State::waits;
    if (operation.isReady()) makeReady(operation.place_);  // it has become so again meanwhile
    ticket = missingTicket();
  }
  send(ticket);
}

void OperationQueueCore::operationHasFinished(NSOperation& operation) noexcept {
  std::shared_ptr<NSObject> observed;
  Outcome outcome;
  {
    const UnfairLockGuard guard(lock_);
    observed = observedFront();
    if (observed == nullptr) outcome = remove(operation.place_);
  }
  if (observed != nullptr) {
    const OperationsNotice notice(*observed);
    const UnfairLockGuard guard(lock_);
    outcome = remove(operation.place_);
  }
  while (outcome.waiter != nullptr) std::exchange(outcome.waiter, outcome.waiter->next)->end.send();
  send(outcome.ticket);
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
  if (operations_.empty()) outcome.waiter = std::exchange(waiters_, nullptr);
  outcome.ticket = missingTicket();
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
    const UnfairLockGuard guard(lock_);
    if (operations_.empty()) return;
    self.next = std::exchange(waiters_, &self);
  }
  const ThreadIsBlocked blocked;
  self.end.await();
}

void OperationQueueCore::setMaxConcurrent(int count) {
  Ticket ticket;
  {
    const UnfairLockGuard guard(lock_);
    maxConcurrent_ = std::max(count, -1);
    ticket = missingTicket();
  }
  send(ticket);
}

void OperationQueueCore::setSuspended(bool suspended) {
  Ticket ticket;
  {
    const UnfairLockGuard guard(lock_);
    isSuspended_ = suspended;
    ticket = missingTicket();
  }
  send(ticket);
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
  operations.reserve(count_);
  for (const auto* place = operations_.first(); place != nullptr; place = Operations::after(*place)) {
    operations.push_back(place->operation);
  }
  return operations;
}

std::size_t OperationQueueCore::count() const {
  const UnfairLockGuard guard(lock_);
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

QualityOfService OperationQueueCore::qualityOfService() const {
  const UnfairLockGuard guard(lock_);
  return qualityOfService_;
}

}  // namespace QVFoundation::detail
