#pragma once

#include <memory>
#include <utility>

#include "QVFoundation/platform/application/Completion.h"
#include "QVFoundation/platform/application/Receiver.h"

namespace QVFoundation {

/// What a publisher of one's own sends to; see `Publisher`.
///
/// It keeps the rules whatever the publisher does: what comes after the completion, or after the subscription
/// was cancelled, is dropped.
///
/// Threads: values may be sent from several threads at once and then arrive there. A publisher that sends a
/// completion sends nothing else meanwhile.
/// Ownership: copies share one subscriber, and keep alive what the subscription calls.
template <class Output>
class Subscriber {
public:
  /// For the publishers of this library.
  explicit Subscriber(std::shared_ptr<detail::Receiver> receiver) noexcept : receiver_(std::move(receiver)) {}
  [[nodiscard]] const std::shared_ptr<detail::Receiver>& receiver() const noexcept { return receiver_; }

  void receive(const Output& value) const {
    const auto receiver = receiver_;  // the value may let go of this subscriber
    receiver->deliverValue(std::addressof(value));
  }
  void receive(const Completion& completion) const {
    const auto receiver = receiver_;
    receiver->deliverCompletion(completion);
  }

private:
  std::shared_ptr<detail::Receiver> receiver_;
};

}  // namespace QVFoundation
