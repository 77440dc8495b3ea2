#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/concurrency/NSOperation.h"
#include "QVFoundation/platform/concurrency/OperationList_p.h"
#include "QVFoundation/platform/concurrency/OperationOwner.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"
#include "QVFoundation/platform/concurrency/WakeUp_p.h"

namespace QVFoundation::detail {

/// What a queue of operations is made of. It keeps itself as long as there are operations on it.
///
/// No operation waits for a thread; tickets do. When a ticket has its thread it takes the operation that is
/// the best then, so what somebody changes meanwhile counts: a priority, the limit, a suspension. There are
/// never too few tickets for what may start: each change that leaves one missing sends it. One too many finds
/// nothing and goes.
///
/// Who brings an operation lays it down at the door, and goes where a ticket is on its way: whoever takes the
/// lock takes in what is there. So those who bring operations seldom meet those who run them.
///
/// A barrier begins a generation of operations of its own, and what comes after it another one. Operations
/// start when theirs is the oldest that has not finished.
///
/// Threads: any.
class OperationQueueCore final : public OperationOwner,
                                 public std::enable_shared_from_this<OperationQueueCore> {
public:
  /// The front is the queue itself, whose observers hear of its operations until it withdraws. Without a
  /// target operations run in the background.
  OperationQueueCore(NSObject& front, std::shared_ptr<DispatchQueue> target) noexcept;
  void withdrawFront();

  /// False where the operation cannot be added.
  [[nodiscard]] bool add(NSObject& front, const std::shared_ptr<NSOperation>& operation, bool isBarrier);
  void setMaxConcurrent(int count);
  void setSuspended(bool suspended);
  void setQualityOfService(QualityOfService qualityOfService) noexcept {
    qualityOfService_ = qualityOfService;
  }
  void awaitAll();

  [[nodiscard]] std::vector<std::shared_ptr<NSOperation>> operations();
  [[nodiscard]] std::size_t count();
  [[nodiscard]] int maxConcurrent() const;
  [[nodiscard]] bool isSuspended() const;
  [[nodiscard]] QualityOfService qualityOfService() const noexcept { return qualityOfService_; }
  [[nodiscard]] std::optional<std::string> name() const;
  void setName(std::optional<std::string> name);

  [[nodiscard]] std::shared_ptr<OperationOwner> kept() override { return shared_from_this(); }
  void operationIsReady(NSOperation& operation) override;
  void operationWillHaveOtherPriority() override;
  void operationHasOtherPriority(NSOperation& operation) override;
  void operationHasFinished(NSOperation& operation) noexcept override;

private:
  using Operations = OperationList<&PlaceOnQueue::amongAll>;
  using ReadyOperations = OperationList<&PlaceOnQueue::amongReady>;
  using Ticket = std::optional<QualityOfService>;  // or none

  struct Generation {
    std::size_t unfinished = 0;
    ReadyOperations held;
  };
  struct Waiter {
    WakeUp end;
    Waiter* next = nullptr;
  };
  /// What comes of a change, to be seen to after the lock.
  struct Outcome {
    std::shared_ptr<OperationQueueCore> self;
    std::shared_ptr<NSOperation> finished;
    Waiter* waiter = nullptr;
  };
  /// Holds the lock. All that was at the door has been taken in, and what tickets are missing then is sent.
  class Section;

  void leaveAtDoor(const std::shared_ptr<NSOperation>& operation) noexcept;
  void takeIn() noexcept QV_REQUIRES(lock_);

  /// Null where no observer has to hear of the operations.
  [[nodiscard]] std::shared_ptr<NSObject> observedFront() const QV_REQUIRES(lock_);

  void insert(const std::shared_ptr<NSOperation>& operation, bool isBarrier) QV_REQUIRES(lock_);
  void append(PlaceOnQueue& place, bool isBarrier = false) noexcept QV_REQUIRES(lock_);
  void makeReady(PlaceOnQueue& place) QV_REQUIRES(lock_);
  void pushReady(PlaceOnQueue& place) QV_REQUIRES(lock_);
  void dropReady(PlaceOnQueue& place) QV_REQUIRES(lock_);
  void removeFromWhereItStands(PlaceOnQueue& place) QV_REQUIRES(lock_);
  [[nodiscard]] Outcome remove(PlaceOnQueue& place) QV_REQUIRES(lock_);
  void leaveFinishedGenerations() QV_REQUIRES(lock_);

  /// How many more may run.
  [[nodiscard]] std::size_t room() const QV_REQUIRES(lock_);
  /// A ticket that has to be sent; it counts from now on.
  [[nodiscard]] Ticket missingTicket() QV_REQUIRES(lock_);
  void setAwaitedLevel(int level) QV_REQUIRES(lock_);
  /// Sends a ticket, if there is one, and all that are still missing.
  void send(Ticket ticket) noexcept;
  void useTicket(QualityOfService qualityOfService);
  /// The best that may start, except for what tickets will find that are on their way.
  [[nodiscard]] std::shared_ptr<NSOperation> takeReady(std::size_t ticketsOnTheirWay) QV_REQUIRES(lock_);
  [[nodiscard]] bool mayGoOn(std::chrono::steady_clock::time_point began) const noexcept;

  void run(NSOperation& operation);
  /// For one that has come to depend on something after it was ready.
  void takeBack(NSOperation& operation);

  const std::shared_ptr<DispatchQueue> target_;
  const std::size_t ticketsAtMost_;
  std::atomic<QualityOfService> qualityOfService_{QualityOfService::standard};

  static constexpr std::size_t cacheLine = 64;

  // The last one that was laid down; each knows the one before it.
  alignas(cacheLine) std::atomic<PlaceOnQueue*> door_{nullptr};
  // What is no more urgent than that will be taken in by a ticket. Written under `lock_`.
  alignas(cacheLine) std::atomic<int> awaitedLevel_{none};
  static constexpr int none = -1;

  alignas(cacheLine) mutable UnfairLock lock_;
  std::shared_ptr<OperationQueueCore> self_ QV_GUARDED_BY(lock_);  // while there are operations
  PlaceOnQueue* refused_ QV_GUARDED_BY(lock_) = nullptr;           // what is to go after the lock
  NSObject* front_ QV_GUARDED_BY(lock_);
  Operations operations_ QV_GUARDED_BY(lock_);
  std::size_t count_ QV_GUARDED_BY(lock_) = 0;
  std::array<ReadyOperations, 5> ready_ QV_GUARDED_BY(lock_);  // by priority
  std::array<std::size_t, 5> readyAt_ QV_GUARDED_BY(lock_){};  // how many, by quality of service
  std::array<std::size_t, 5> ticketsAt_ QV_GUARDED_BY(lock_){};
  std::size_t tickets_ QV_GUARDED_BY(lock_) = 0;
  std::deque<Generation> generations_ QV_GUARDED_BY(lock_) = std::deque<Generation>(1);
  std::uint64_t firstGeneration_ QV_GUARDED_BY(lock_) = 0;
  int running_ QV_GUARDED_BY(lock_) = 0;
  int maxConcurrent_ QV_GUARDED_BY(lock_) = -1;
  bool isSuspended_ QV_GUARDED_BY(lock_) = false;
  std::optional<std::string> name_ QV_GUARDED_BY(lock_);
  Waiter* waiters_ QV_GUARDED_BY(lock_) = nullptr;
};

}  // namespace QVFoundation::detail
