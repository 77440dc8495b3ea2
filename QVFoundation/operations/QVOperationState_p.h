#pragma once

#include <utility>

#include "QVFoundation/operations/QVOperation.h"

namespace QVFoundation {

/// A field as it is at this moment.
template <class Content>
Content QVOperation::locked(Content QVOperation::* field) const {
  const UnfairLockGuard guard(lock_);
  return this->*field;
}

/// Writes a field; returns what was there, which so goes after the lock.
template <class Content>
Content QVOperation::exchange(Content QVOperation::* field, Content content) {
  const UnfairLockGuard guard(lock_);
  return std::exchange(this->*field, std::move(content));
}

namespace detail {

// What `pauseConditionLock` of an operation may be at.
inline constexpr std::int64_t gateIsOpen = 1;
inline constexpr std::int64_t gateIsClosed = 2;

}  // namespace detail

}  // namespace QVFoundation
