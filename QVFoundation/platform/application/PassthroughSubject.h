#pragma once

#include <memory>

#include "QVFoundation/platform/application/Completion.h"
#include "QVFoundation/platform/application/Publisher.h"
#include "QVFoundation/platform/application/SubjectCore.h"

namespace QVFoundation {

/// A publisher by hand: what is sent to it goes to all who have subscribed.
///
/// ```cpp
/// PassthroughSubject<int> clicks;
/// const auto counting = clicks.publisher().sink([&](int button) { ++counts[button]; });
/// clicks.send(1);
/// ```
///
/// Values arrive one at a time, in one order for all subscribers. What is sent while a value is being
/// delivered, by another thread or from inside a subscriber, is delivered after it by the thread that is at
/// it, and `send` returns at once. Otherwise it has been delivered when `send` returns. After the completion
/// nothing is delivered; who subscribes then gets the completion at once.
///
/// Threads: any, also from inside a subscriber.
/// Ownership: its publishers share the subscribers, and do not complete when the subject goes.
template <class Output>
class PassthroughSubject {
public:
  PassthroughSubject() : core_(&detail::copyOfValue<Output>) {}
  PassthroughSubject(const PassthroughSubject&) = delete;
  PassthroughSubject& operator=(const PassthroughSubject&) = delete;
  ~PassthroughSubject() = default;

  /// The value is this call's own, so a subscriber may change the variable that it came from.
  void send(Output value) { core_.send(std::addressof(value)); }
  void send(const Completion& completion) { core_.send(completion); }

  [[nodiscard]] Publisher<Output> publisher() const { return core_.publisher<Output>(); }

private:
  const detail::SubjectCore core_;
};

}  // namespace QVFoundation
