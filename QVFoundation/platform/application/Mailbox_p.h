#pragma once

#include <utility>
#include <vector>

namespace QVFoundation::detail {

/// What waits to be delivered one after the other, and whether somebody is at it.
///
/// Whoever finds nobody delivering does so himself until nothing waits; the others leave what they have to
/// him. So order holds without a lock around the delivery.
///
/// Threads: used under its owner's lock.
template <class Event>
class Mailbox {
public:
  /// True where the caller now has to deliver: what he has at hand first, then what `take` gives him.
  [[nodiscard]] bool begin() noexcept { return !std::exchange(isDelivering_, true); }

  void post(Event event) { waiting_.push_back(std::move(event)); }

  /// For the one who delivers. Nothing means that he is done.
  [[nodiscard]] std::vector<Event> take() noexcept {
    if (waiting_.empty()) isDelivering_ = false;
    return std::exchange(waiting_, {});
  }

private:
  std::vector<Event> waiting_;
  bool isDelivering_ = false;
};

}  // namespace QVFoundation::detail
