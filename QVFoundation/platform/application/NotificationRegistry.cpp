#include <utility>

#include "QVFoundation/platform/application/NotificationRegistry_p.h"
#include "QVFoundation/platform/runtime/EscapedException_p.h"

namespace QVFoundation::detail {

NotificationObserver::NotificationObserver(std::optional<std::string> name,
                                           const std::shared_ptr<NSObject>& object,
                                           std::shared_ptr<Scheduler> scheduler, Block block)
    : topic_{std::move(name), object.get()},
      object_(object),
      scheduler_(std::move(scheduler)),
      block_(std::move(block)) {}

void NotificationObserver::notify(const std::shared_ptr<NotificationObserver>& observer,
                                  const NSNotification& notification) {
  if (observer->objectIsGone()) return;
  if (observer->scheduler_ == nullptr) return observer->call(notification);
  // Work that is still to run keeps nothing of an observer that is removed.
  observer->scheduler_->schedule([waiting = std::weak_ptr(observer), notification] {
    if (const auto present = waiting.lock()) present->call(notification);
  });
}

void NotificationObserver::call(const NSNotification& notification) const {
  const ListenerCall call(*this);
  if (!call) return;
  try {
    block_(notification);
  } catch (...) {
    endForEscapedException("An observer of the notification \"" + notification.name() + '"');
  }
}

const std::shared_ptr<NotificationObserver>* NotificationRecipients::next() noexcept {
  const std::shared_ptr<NotificationObserver>* oldest = nullptr;
  std::size_t* position = nullptr;
  for (std::size_t i = 0; i < lists_.size(); ++i) {
    const auto& items = lists_[i].items();
    if (positions_[i] == items.size()) continue;
    const auto& candidate = items[positions_[i]];
    if (oldest != nullptr && (*oldest)->number() < candidate->number()) continue;
    oldest = &candidate;
    position = &positions_[i];
  }
  if (position != nullptr) ++*position;
  return oldest;
}

template <class Text>
std::size_t NotificationRegistry::TopicHash::operator()(const NotificationTopic<Text>& topic) const noexcept {
  const std::size_t name = topic.name ? std::hash<Text>{}(*topic.name) : 0;
  return name ^ (std::hash<const void*>{}(topic.object) * 31);
}

void NotificationRegistry::add(const std::shared_ptr<NotificationObserver>& observer) {
  const MutexLock guard(lock_);
  observer->setNumber(++lastNumber_);
  lists_[observer->topic()].add(observer);
}

void NotificationRegistry::remove(NotificationObserver& observer) {
  observer.remove();
  const auto taken = take(observer);
  observer.awaitCalls();
}

void NotificationRegistry::removeAll() {
  const Lists taken = takeAll();
  const auto forAll = [&taken](const auto& action) {
    for (const auto& [topic, list] : taken) {
      const auto snapshot = list.snapshot();
      for (const auto& observer : snapshot.items()) action(*observer);
    }
  };
  forAll([](NotificationObserver& observer) { observer.remove(); });
  forAll([](NotificationObserver& observer) { observer.awaitCalls(); });
}

NotificationRecipients NotificationRegistry::recipientsOf(const NSNotification& notification) const {
  const std::string_view name = notification.name();
  const NSObject* const object = notification.object().get();
  std::array<NotificationRecipients::List::Snapshot, 4> found;
  std::size_t count = 0;
  const auto find = [&](const Lists& lists, const TopicView& topic) {
    const auto list = lists.find(topic);
    if (list != lists.end()) found[count++] = list->second.snapshot();
  };
  {
    const MutexLock guard(lock_);
    find(lists_, {name, nullptr});
    find(lists_, {std::nullopt, nullptr});
    if (object != nullptr) {
      find(lists_, {name, object});
      find(lists_, {std::nullopt, object});
    }
  }
  return NotificationRecipients(std::move(found));
}

std::shared_ptr<NotificationObserver> NotificationRegistry::take(const NotificationObserver& observer) {
  const MutexLock guard(lock_);
  const auto list = lists_.find(observer.topic());
  if (list == lists_.end()) return nullptr;
  auto taken = list->second.take(observer);
  if (list->second.empty()) lists_.erase(list);
  return taken;
}

NotificationRegistry::Lists NotificationRegistry::takeAll() {
  const MutexLock guard(lock_);
  return std::exchange(lists_, {});
}

}  // namespace QVFoundation::detail
