#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "QVFoundation/platform/application/Receiver.h"

/// Internal: installed because other headers need it.
///
/// The stages whose code depends on the type of the values.
///
/// Threads: as for `Receiver`.
namespace QVFoundation::detail {

/// The last stage: calls the blocks of a `sink`.
template <class Output>
class SinkReceiver final : public Receiver {
public:
  SinkReceiver(std::shared_ptr<Subscription> subscription, std::function<void(const Output&)> value,
               std::function<void(const Completion&)> completion)
      : Receiver(std::move(subscription)), value_(std::move(value)), completion_(std::move(completion)) {}

  void receiveValue(const void* value) override {
    if (value_) value_(*static_cast<const Output*>(value));
  }
  void receiveCompletion(const Completion& completion) override {
    if (completion_) completion_(completion);
    subscription()->finish();
  }

private:
  const std::function<void(const Output&)> value_;
  const std::function<void(const Completion&)> completion_;
};

/// Passes on what a function makes of each value.
template <class Input, class Transform>
class MapReceiver final : public Receiver {
public:
  MapReceiver(std::shared_ptr<Receiver> next, Transform transform)
      : Receiver(next->subscription()), next_(std::move(next)), transform_(std::move(transform)) {}

  void receiveValue(const void* value) override {
    const auto& output = std::invoke(transform_, *static_cast<const Input*>(value));
    next_->receiveValue(std::addressof(output));
  }
  void receiveCompletion(const Completion& completion) override { next_->receiveCompletion(completion); }

private:
  const std::shared_ptr<Receiver> next_;
  const Transform transform_;
};

}  // namespace QVFoundation::detail
