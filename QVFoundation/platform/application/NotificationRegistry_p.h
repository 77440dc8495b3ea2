#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "QVFoundation/platform/application/NSNotification.h"
#include "QVFoundation/platform/application/SnapshotList_p.h"
#include "QVFoundation/platform/concurrency/Listener.h"
#include "QVFoundation/platform/concurrency/Mutex.h"
#include "QVFoundation/platform/concurrency/Scheduler.h"

namespace QVFoundation::detail {

/// What an observer asks for: a name or any, an object or any.
template <class Text>
struct NotificationTopic {
  std::optional<Text> name;
  const NSObject* object = nullptr;
};

/// One registration with a centre.
class NotificationObserver final : public Listener {
public:
  using Block = std::function<void(const NSNotification&)>;

  NotificationObserver(std::optional<std::string> name, const std::shared_ptr<NSObject>& object,
                       std::shared_ptr<Scheduler> scheduler, Block block);

  [[nodiscard]] const NotificationTopic<std::string>& topic() const noexcept { return topic_; }
  [[nodiscard]] std::uint64_t number() const noexcept { return number_; }
  void setNumber(std::uint64_t number) noexcept { number_ = number; }

  /// Calls the block with a notification of its topic, or has it called.
  static void notify(const std::shared_ptr<NotificationObserver>& observer,
                     const NSNotification& notification);

private:
  [[nodiscard]] bool objectIsGone() const noexcept { return topic_.object != nullptr && object_.expired(); }
  void call(const NSNotification& notification) const;

  const NotificationTopic<std::string> topic_;
  const std::weak_ptr<NSObject> object_;  // tells it from another one that lives at its address later
  const std::shared_ptr<Scheduler> scheduler_;
  const Block block_;
  std::uint64_t number_ = 0;  // in the order of registration; fixed once it is listed
};

/// The observers of one notification at the moment of the post, in the order of registration.
class NotificationRecipients {
public:
  using List = SnapshotList<NotificationObserver>;

  /// The lists are each in order.
  explicit NotificationRecipients(std::array<List::Snapshot, 4> lists) noexcept : lists_(std::move(lists)) {}
  /// The next one, or null. It lives as long as this does.
  [[nodiscard]] const std::shared_ptr<NotificationObserver>* next() noexcept;

private:
  std::array<List::Snapshot, 4> lists_;
  std::array<std::size_t, 4> positions_{};
};

/// The observers of one centre, listed by what they ask for, so that a post touches only those that it
/// concerns.
///
/// Threads: any.
class NotificationRegistry {
public:
  void add(const std::shared_ptr<NotificationObserver>& observer);
  /// Removes it if it is still there, and waits for its calls either way.
  void remove(NotificationObserver& observer);
  void removeAll();
  [[nodiscard]] NotificationRecipients recipientsOf(const NSNotification& notification) const;

private:
  using TopicView = NotificationTopic<std::string_view>;
  struct TopicHash {
    using is_transparent = void;
    template <class Text>
    std::size_t operator()(const NotificationTopic<Text>& topic) const noexcept;
  };
  struct TopicEqual {
    using is_transparent = void;
    template <class A, class B>
    bool operator()(const NotificationTopic<A>& a, const NotificationTopic<B>& b) const noexcept {
      return a.object == b.object && a.name == b.name;
    }
  };
  using Lists = std::unordered_map<NotificationTopic<std::string>, SnapshotList<NotificationObserver>,
                                   TopicHash, TopicEqual>;

  [[nodiscard]] std::shared_ptr<NotificationObserver> take(const NotificationObserver& observer);
  [[nodiscard]] Lists takeAll();

  mutable Mutex lock_;
  Lists lists_ QV_GUARDED_BY(lock_);  // none is empty
  std::uint64_t lastNumber_ QV_GUARDED_BY(lock_) = 0;
};

}  // namespace QVFoundation::detail
