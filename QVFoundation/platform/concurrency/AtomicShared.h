#pragma once

#include <atomic>
#include <memory>
#include <utility>

#include "QVFoundation/platform/concurrency/ThreadSafety.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"

namespace QVFoundation {

/// A `std::shared_ptr` that threads may read and replace at the same time.
///
/// Threads: safe from any thread. What is replaced is released after the lock inside has been let go, so no
/// destructor ever runs under it.
template <class T>
class AtomicShared {
public:
  AtomicShared() noexcept = default;
  explicit AtomicShared(std::shared_ptr<T> pointer) noexcept
      : address_(pointer.get()), pointer_(std::move(pointer)) {}
  AtomicShared(const AtomicShared&) = delete;
  AtomicShared& operator=(const AtomicShared&) = delete;

  [[nodiscard]] std::shared_ptr<T> load() const noexcept {
    const UnfairLockGuard guard(lock_);
    return pointer_;
  }

  /// Whether the slot holds that pointer at this moment. Takes no lock: while the caller holds the pointer
  /// nothing else can come to lie at its address.
  [[nodiscard]] bool holds(const std::shared_ptr<T>& pointer) const noexcept {
    return address_.load(std::memory_order_acquire) == pointer.get();
  }

  void store(std::shared_ptr<T> desired) noexcept { exchange(std::move(desired)); }

  /// Returns what was there before.
  std::shared_ptr<T> exchange(std::shared_ptr<T> desired) noexcept {
    const UnfairLockGuard guard(lock_);
    put(desired);
    return desired;
  }

  /// Stores `desired` if the slot still holds `expected`. Otherwise changes `expected` to what it holds, for
  /// another try.
  [[nodiscard]] bool compareExchange(std::shared_ptr<T>& expected, std::shared_ptr<T> desired) noexcept {
    std::shared_ptr<T> released;
    const UnfairLockGuard guard(lock_);
    if (pointer_ == expected) {
      put(desired);
      return true;
    }
    released = std::exchange(expected, pointer_);
    return false;
  }

private:
  /// Leaves what was there before in `desired`.
  void put(std::shared_ptr<T>& desired) noexcept QV_REQUIRES(lock_) {
    pointer_.swap(desired);
    address_.store(pointer_.get(), std::memory_order_release);
  }

  mutable UnfairLock lock_;
  std::atomic<T*> address_{nullptr};  // of what `pointer_` points to, for whoever only compares
  std::shared_ptr<T> pointer_ QV_GUARDED_BY(lock_);
};

}  // namespace QVFoundation
