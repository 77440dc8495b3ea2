#pragma once

#include "QVFoundation/platform/concurrency/OperationOwner.h"

namespace QVFoundation::detail {

/// Operations in a row, each of which knows its neighbours: so any of them comes and goes at once.
///
/// Threads: used under its owner's lock.
template <QueueLinks PlaceOnQueue::* links>
class OperationList {
public:
  [[nodiscard]] bool empty() const noexcept { return first_ == nullptr; }
  [[nodiscard]] PlaceOnQueue* first() const noexcept { return first_; }
  [[nodiscard]] static PlaceOnQueue* after(const PlaceOnQueue& place) noexcept { return (place.*links).next; }

  void append(PlaceOnQueue& place) noexcept {
    place.*links = {.previous = last_, .next = nullptr};
    (last_ != nullptr ? (last_->*links).next : first_) = &place;
    last_ = &place;
  }

  void remove(PlaceOnQueue& place) noexcept {
    const QueueLinks its = place.*links;
    (its.previous != nullptr ? (its.previous->*links).next : first_) = its.next;
    (its.next != nullptr ? (its.next->*links).previous : last_) = its.previous;
  }

private:
  PlaceOnQueue* first_ = nullptr;
  PlaceOnQueue* last_ = nullptr;
};

}  // namespace QVFoundation::detail
