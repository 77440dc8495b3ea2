#include "QVFoundation/platform/application/SubjectCore.h"

#include <optional>
#include <utility>
#include <vector>

#include "QVFoundation/platform/application/Mailbox_p.h"
#include "QVFoundation/platform/application/SnapshotList_p.h"
#include "QVFoundation/platform/concurrency/Mutex.h"

namespace QVFoundation::detail {

using Receivers = SnapshotList<Receiver>;

/// One thing to deliver, to those who had subscribed when it was sent.
struct SubjectEvent {
  Receivers::Snapshot receivers;
  std::shared_ptr<const void> value;  // null where it is the completion
  std::optional<Completion> completion;
};

class SubjectCore::State {
public:
  explicit State(std::shared_ptr<const void> current) noexcept : current_(std::move(current)) {}

  /// Whom to deliver a value to at once. Nothing where others are at it, or all is over.
  [[nodiscard]] std::optional<Receivers::Snapshot> beginDelivery();

  // True where the caller has to call `deliverWaiting`.
  [[nodiscard]] bool post(std::shared_ptr<const void> value);
  [[nodiscard]] bool postAndKeep(std::shared_ptr<const void>& value);
  [[nodiscard]] bool post(const Completion& completion);
  /// Tells the completion where all is over, and posts the current value where there is one.
  [[nodiscard]] bool add(const std::shared_ptr<Receiver>& receiver, std::optional<Completion>& completion);
  void remove(const Receiver& receiver);

  [[nodiscard]] std::shared_ptr<const void> current() const {
    const MutexLock guard(lock_);
    return current_;
  }
  void deliverWaiting();

private:
  [[nodiscard]] bool postLocked(SubjectEvent event) QV_REQUIRES(lock_) {
    mailbox_.post(std::move(event));
    return mailbox_.begin();
  }
  [[nodiscard]] std::vector<SubjectEvent> takeWaiting() {
    const MutexLock guard(lock_);
    return mailbox_.take();
  }

  mutable Mutex lock_;
  Receivers receivers_ QV_GUARDED_BY(lock_);
  Mailbox<SubjectEvent> mailbox_ QV_GUARDED_BY(lock_);
  std::shared_ptr<const void> current_ QV_GUARDED_BY(lock_);
  std::optional<Completion> completion_ QV_GUARDED_BY(lock_);
};

namespace {

void deliver(const void* value, const Receivers::Snapshot& receivers) {
  for (const auto& receiver : receivers.items()) receiver->deliverValue(value);
}

void deliver(const SubjectEvent& event) {
  if (!event.completion) return deliver(event.value.get(), event.receivers);
  for (const auto& receiver : event.receivers.items()) receiver->deliverCompletion(*event.completion);
}

}  // namespace

std::optional<Receivers::Snapshot> SubjectCore::State::beginDelivery() {
  const MutexLock guard(lock_);
  if (completion_ || !mailbox_.begin()) return std::nullopt;
  return receivers_.snapshot();
}

bool SubjectCore::State::post(std::shared_ptr<const void> value) {
  const MutexLock guard(lock_);
  return !completion_ && postLocked({receivers_.snapshot(), std::move(value), {}});
}

bool SubjectCore::State::postAndKeep(std::shared_ptr<const void>& value) {
  const MutexLock guard(lock_);
  if (completion_) return false;
  current_.swap(value);  // what was there is let go by the caller
  return postLocked({receivers_.snapshot(), current_, {}});
}

bool SubjectCore::State::post(const Completion& completion) {
  const MutexLock guard(lock_);
  if (completion_) return false;
  completion_ = completion;
  return postLocked({std::exchange(receivers_, {}).snapshot(), nullptr, completion});
}

bool SubjectCore::State::add(const std::shared_ptr<Receiver>& receiver,
                             std::optional<Completion>& completion) {
  const MutexLock guard(lock_);
  completion = completion_;
  if (completion) return false;
  receivers_.add(receiver);
  return current_ && postLocked({Receivers::only(receiver), current_, {}});
}

void SubjectCore::State::remove(const Receiver& receiver) {
  std::shared_ptr<Receiver> taken;
  const MutexLock guard(lock_);
  taken = receivers_.take(receiver);
}

void SubjectCore::State::deliverWaiting() {
  for (auto events = takeWaiting(); !events.empty(); events = takeWaiting()) {
    for (const SubjectEvent& event : events) deliver(event);
  }
}

SubjectCore::SubjectCore(CopyOfValue copy, std::shared_ptr<const void> current)
    : state_(std::make_shared<State>(std::move(current))), copy_(copy) {}

// A subscriber may let go of the subject, so each of these holds what it still needs.

void SubjectCore::send(const void* value) const {
  const auto state = state_;
  if (const auto receivers = state->beginDelivery()) {
    deliver(value, *receivers);
  } else if (!state->post(copy_(value))) {
    return;
  }
  state->deliverWaiting();
}

void SubjectCore::sendAndKeep(std::shared_ptr<const void> value) const {
  const auto state = state_;
  if (state->postAndKeep(value)) state->deliverWaiting();
}

void SubjectCore::send(const Completion& completion) const {
  const auto state = state_;
  if (state->post(completion)) state->deliverWaiting();
}

Cancellable SubjectCore::subscribe(const std::shared_ptr<Receiver>& receiver) const {
  const auto state = state_;
  std::optional<Completion> completion;
  if (state->add(receiver, completion)) state->deliverWaiting();
  if (completion) {
    receiver->deliverCompletion(*completion);
    return {};
  }
  return Cancellable([subject = std::weak_ptr(state), subscriber = std::weak_ptr(receiver)] {
    const auto present = subscriber.lock();
    if (const auto owner = subject.lock(); owner && present) owner->remove(*present);
  });
}

std::shared_ptr<const void> SubjectCore::current() const { return state_->current(); }

}  // namespace QVFoundation::detail
