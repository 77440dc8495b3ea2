#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/concurrency/NSOperation.h"
#include "QVFoundation/platform/concurrency/OperationOwner.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"
#include "QVFoundation/platform/concurrency/WakeUp_p.h"

namespace QVFoundation::detail {

/// What a queue of operations is made of. The operations that are on it keep it.
///
/// A barrier begins a generation of operations of its own, and what comes after it another one. Operations start
/// when theirs is the oldest that has not finished.
///
/// Threads: any.
class OperationQueueCore final : public OperationOwner,
                                 public std::enable_shared_from_this<OperationQueueCore> {
public:
  /// Without a target operations run in the background.
  explicit OperationQueueCore(std::shared_ptr<DispatchQueue> target) noexcept : target_(std::move(target)) {}

  /// False where the operation cannot be added. The front is the queue itself, whose observers hear of its
  /// operations while somebody holds it.
  [[nodiscard]] bool add(const std::shared_ptr<NSOperation>& operation, bool isBarrier,
                         const std::weak_ptr<NSObject>& front);
  void setMaxConcurrent(int count);
  void setSuspended(bool suspended);
  void setQualityOfService(QualityOfService qualityOfService);
  void awaitAll();

  [[nodiscard]] std::vector<std::shared_ptr<NSOperation>> operations() const;
  [[nodiscard]] std::size_t count() const;
  [[nodiscard]] int maxConcurrent() const;
  [[nodiscard]] bool isSuspended() const;
  [[nodiscard]] QualityOfService qualityOfService() const;
  [[nodiscard]] std::optional<std::string> name() const;
  void setName(std::optional<std::string> name);

  void operationIsReady(const std::shared_ptr<NSOperation>& operation) override;
  void operationHasFinished(NSOperation& operation) noexcept override;

private:
  using Operations = std::deque<std::shared_ptr<NSOperation>>;
  struct Generation {
    std::size_t unfinished = 0;
    Operations held;  // ready before it is their turn
  };
  struct Waiter {
    WakeUp end;
    Waiter* next = nullptr;
  };

  [[nodiscard]] std::shared_ptr<NSObject> front() const;
  void startMore();
  [[nodiscard]] std::shared_ptr<NSOperation> takeReady() QV_REQUIRES(lock_);
  void pushReady(const std::shared_ptr<NSOperation>& operation) QV_REQUIRES(lock_);
  void run(const std::shared_ptr<NSOperation>& operation);
  /// For one that has come to depend on something after it was ready.
  void takeBack(const std::shared_ptr<NSOperation>& operation);

  const std::shared_ptr<DispatchQueue> target_;

  mutable UnfairLock lock_;
  std::weak_ptr<NSObject> front_ QV_GUARDED_BY(lock_);
  std::uint64_t lastNumber_ QV_GUARDED_BY(lock_) = 0;
  std::map<std::uint64_t, std::shared_ptr<NSOperation>> operations_ QV_GUARDED_BY(lock_);
  std::array<Operations, 5> ready_ QV_GUARDED_BY(lock_);  // by priority
  std::deque<Generation> generations_ QV_GUARDED_BY(lock_) = std::deque<Generation>(1);
  std::uint64_t firstGeneration_ QV_GUARDED_BY(lock_) = 0;
  int running_ QV_GUARDED_BY(lock_) = 0;
  int maxConcurrent_ QV_GUARDED_BY(lock_) = -1;
  bool isSuspended_ QV_GUARDED_BY(lock_) = false;
  QualityOfService qualityOfService_ QV_GUARDED_BY(lock_) = QualityOfService::standard;
  std::optional<std::string> name_ QV_GUARDED_BY(lock_);
  Waiter* waiters_ QV_GUARDED_BY(lock_) = nullptr;
};

}  // namespace QVFoundation::detail
