#pragma once

#include <cstdint>
#include <memory>

/// Internal: installed because other headers need it.
///
/// Threads: any.
namespace QVFoundation {

class NSOperation;

namespace detail {

/// What a queue notes on an operation, under its own lock.
struct PlaceOnQueue {
  std::uint64_t number = 0;
  std::uint64_t generation = 0;
  bool isOffered = false;  // as ready
  bool isRunning = false;
  bool hasFinished = false;
};

/// What an operation tells the queue that it is on. No lock is held meanwhile.
class OperationOwner {
public:
  virtual void operationIsReady(const std::shared_ptr<NSOperation>& operation) = 0;
  virtual void operationHasFinished(NSOperation& operation) noexcept = 0;

protected:
  OperationOwner() = default;
  ~OperationOwner() = default;
};

}  // namespace detail

}  // namespace QVFoundation
