#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "QVFoundation/platform/concurrency/QualityOfService.h"

/// Internal: installed because other headers need it.
///
/// Threads: any.
namespace QVFoundation {

class NSOperation;

namespace detail {

struct PlaceOnQueue;

/// How an operation stands in a list of its queue.
struct QueueLinks {
  PlaceOnQueue* previous = nullptr;
  PlaceOnQueue* next = nullptr;
};

/// What a queue notes on an operation, under its own lock.
///
/// | it | when |
/// |---|---|
/// | is absent | it is not on the queue yet, or has just been brought |
/// | waits | what it depends on has not finished |
/// | is held | it is ready, but a barrier before it has not finished |
/// | is ready | it may be started |
/// | is running | the queue starts it or has started it |
/// | has finished | it is on no queue any more |
struct PlaceOnQueue {
  enum class State : unsigned char { absent, waits, isHeld, isReady, isRunning, hasFinished };

  std::shared_ptr<NSOperation> operation;  // while it is on the queue
  QueueLinks amongAll;                     // or what was brought before it
  QueueLinks amongReady;                   // or held
  std::uint64_t generation = 0;
  State state = State::absent;
  QualityOfService qualityOfService{};  // counted with while it is ready
  std::uint8_t rank = 0;                // likewise, by priority
};

/// What an operation tells the queue that it is on. No lock is held meanwhile. The queue lives at least as
/// long as the operation is on it.
class OperationOwner {
public:
  /// Keeps it for longer. This alone is asked under the operation's lock.
  [[nodiscard]] virtual std::shared_ptr<OperationOwner> kept() = 0;
  virtual void operationIsReady(NSOperation& operation) = 0;
  virtual void operationWillHaveOtherPriority() = 0;
  virtual void operationHasOtherPriority(NSOperation& operation) = 0;
  virtual void operationHasFinished(NSOperation& operation) noexcept = 0;

protected:
  OperationOwner() = default;
  ~OperationOwner() = default;
};

}  // namespace detail

}  // namespace QVFoundation
