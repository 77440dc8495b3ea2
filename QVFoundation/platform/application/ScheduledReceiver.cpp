#include <optional>
#include <utility>
#include <vector>

#include "QVFoundation/platform/application/Mailbox_p.h"
#include "QVFoundation/platform/application/Receiver.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"

namespace QVFoundation::detail {

namespace {

class ScheduledReceiver final : public Receiver {
public:
  ScheduledReceiver(std::shared_ptr<Receiver> next, std::shared_ptr<Scheduler> scheduler, CopyOfValue copy)
      : Receiver(next->subscription()),
        next_(std::move(next)),
        scheduler_(std::move(scheduler)),
        copy_(copy) {}

  void receiveValue(const void* value) override { post({copy_(value), {}}); }
  void receiveCompletion(const Completion& completion) override { post({nullptr, completion}); }

private:
  struct Event {
    std::shared_ptr<const void> value;  // null where it is the completion
    std::optional<Completion> completion;
  };

  void post(Event event) {
    if (!enqueue(std::move(event))) return;
    scheduler_->schedule([self = shared_from_this(), this] { deliverWaiting(); });
  }

  [[nodiscard]] bool enqueue(Event event) {
    const UnfairLockGuard guard(lock_);
    mailbox_.post(std::move(event));
    return mailbox_.begin();
  }

  void deliverWaiting() {
    for (auto events = takeWaiting(); !events.empty(); events = takeWaiting()) {
      for (const Event& event : events) {
        if (event.completion) {
          next_->deliverCompletion(*event.completion);
        } else {
          next_->deliverValue(event.value.get());
        }
      }
    }
  }

  [[nodiscard]] std::vector<Event> takeWaiting() {
    const UnfairLockGuard guard(lock_);
    return mailbox_.take();
  }

  const std::shared_ptr<Receiver> next_;
  const std::shared_ptr<Scheduler> scheduler_;
  const CopyOfValue copy_;
  UnfairLock lock_;
  Mailbox<Event> mailbox_ QV_GUARDED_BY(lock_);
};

}  // namespace

std::shared_ptr<Receiver> makeScheduledReceiver(std::shared_ptr<Receiver> next,
                                                std::shared_ptr<Scheduler> scheduler, CopyOfValue copy) {
  return std::make_shared<ScheduledReceiver>(std::move(next), std::move(scheduler), copy);
}

}  // namespace QVFoundation::detail
