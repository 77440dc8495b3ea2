#pragma once

#include <atomic>
#include <memory>
#include <utility>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/application/Completion.h"
#include "QVFoundation/platform/application/Subscription.h"
#include "QVFoundation/platform/concurrency/Scheduler.h"

/// Internal: installed because other headers need it.
///
/// The stages that a value passes on its way from a publisher to a sink. They know each other's types, so
/// values travel as plain pointers.
///
/// Threads: all of it from any thread, but a source that completes brings one thing at a time.
namespace QVFoundation::detail {

/// One stage. A source hands it what it has by `deliver…`, which keep the rules: nothing after the
/// completion, nothing after the subscription has been cancelled. A stage passes on to the next one by
/// `receive…`.
class QV_EXPORT Receiver : public std::enable_shared_from_this<Receiver> {
public:
  explicit Receiver(std::shared_ptr<Subscription> subscription) noexcept
      : subscription_(std::move(subscription)) {}
  Receiver(const Receiver&) = delete;
  Receiver& operator=(const Receiver&) = delete;
  virtual ~Receiver();

  /// Both end the process when an exception comes out.
  void deliverValue(const void* value) noexcept;
  void deliverCompletion(const Completion& completion) noexcept;

  virtual void receiveValue(const void* value) = 0;
  virtual void receiveCompletion(const Completion& completion) = 0;

  [[nodiscard]] const std::shared_ptr<Subscription>& subscription() const noexcept { return subscription_; }

private:
  const std::shared_ptr<Subscription> subscription_;
  std::atomic<bool> completed_{false};
};

/// How a value is kept whose type only its two ends know.
using CopyOfValue = std::shared_ptr<const void> (*)(const void* value);

template <class Output>
[[nodiscard]] std::shared_ptr<const void> copyOfValue(const void* value) {
  return std::make_shared<const Output>(*static_cast<const Output*>(value));
}

/// A stage that has what it receives delivered to the next one by a scheduler, in the same order and one at a
/// time, whether the scheduler is serial or not.
[[nodiscard]] QV_EXPORT std::shared_ptr<Receiver> makeScheduledReceiver(std::shared_ptr<Receiver> next,
                                                                        std::shared_ptr<Scheduler> scheduler,
                                                                        CopyOfValue copy);

}  // namespace QVFoundation::detail
