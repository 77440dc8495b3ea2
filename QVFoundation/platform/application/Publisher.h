#pragma once

#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

#include "QVFoundation/platform/application/Cancellable.h"
#include "QVFoundation/platform/application/Completion.h"
#include "QVFoundation/platform/application/PublisherStages.h"
#include "QVFoundation/platform/application/Subscriber.h"
#include "QVFoundation/platform/concurrency/Scheduler.h"

namespace QVFoundation {

/// Values over time, and at the end perhaps a completion.
///
/// ```cpp
/// CancellableBag bag;
/// player.positions()                             // Publisher<Seconds>
///     .map([](Seconds position) { return format("%d s", position.count()); })
///     .receiveOn(mainQueue)
///     .sink([&](const std::string& text) { label.setText(text); })
///     .store(bag);
/// ```
///
/// Nothing happens until somebody subscribes by `sink`; each subscription starts the source anew. No value
/// comes after the completion, the completion comes once at the most, and neither comes after the
/// subscription has been cancelled.
///
/// One's own publisher is a function that starts sending to a subscriber and returns how to stop:
///
/// ```cpp
/// Publisher<int> numbers([](const Subscriber<int>& subscriber) {
///   for (int i = 0; i < 3; ++i) subscriber.receive(i);
///   subscriber.receive(Completion::finished());
///   return Cancellable();
/// });
/// ```
///
/// Threads: a value; copies may be used on any thread. Blocks run on the thread that sends the value, or
/// where `receiveOn` says, and no lock is held meanwhile.
/// Errors: an exception that leaves a block ends the process.
template <class Output>
class Publisher {
public:
  using Subscribe = std::function<Cancellable(const Subscriber<Output>&)>;

  /// Calls the function for each subscription, on the thread that subscribes.
  explicit Publisher(Subscribe subscribe) noexcept : subscribe_(std::move(subscribe)) {}

  /// Subscribes until the completion comes or the handle is let go. Either block may be left empty. What is
  /// there already when one subscribes may arrive before this returns.
  [[nodiscard]] Cancellable sink(std::function<void(const Output&)> receiveValue,
                                 std::function<void(const Completion&)> receiveCompletion = {}) const {
    auto subscription = std::make_shared<detail::Subscription>();
    subscription->setUpstream(subscribe(Subscriber<Output>(std::make_shared<detail::SinkReceiver<Output>>(
        subscription, std::move(receiveValue), std::move(receiveCompletion)))));
    return Cancellable([subscription] { subscription->cancel(); });
  }

  /// The same values and completion, brought by a scheduler, in the same order and one at a time. Without a
  /// scheduler they come where they were sent.
  [[nodiscard]] Publisher receiveOn(std::shared_ptr<Scheduler> scheduler) const {
    if (scheduler == nullptr) return *this;
    return Publisher(
        [source = *this, scheduler = std::move(scheduler)](const Subscriber<Output>& subscriber) {
          return source.subscribe(Subscriber<Output>(
              detail::makeScheduledReceiver(subscriber.receiver(), scheduler, &detail::copyOfValue<Output>)));
        });
  }

  /// What a function or a member makes of each value.
  template <class Transform>
  [[nodiscard]] auto map(Transform transform) const {
    using Mapped = std::remove_cvref_t<std::invoke_result_t<const Transform&, const Output&>>;
    return Publisher<Mapped>(
        [source = *this, transform = std::move(transform)](const Subscriber<Mapped>& subscriber) {
          return source.subscribe(Subscriber<Output>(
              std::make_shared<detail::MapReceiver<Output, Transform>>(subscriber.receiver(), transform)));
        });
  }

  /// For publishers that are made of other ones: sends to a subscriber that is there already.
  [[nodiscard]] Cancellable subscribe(const Subscriber<Output>& subscriber) const {
    return subscribe_(subscriber);
  }

private:
  Subscribe subscribe_;
};

}  // namespace QVFoundation
