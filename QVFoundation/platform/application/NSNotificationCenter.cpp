#include "QVFoundation/platform/application/NSNotificationCenter.h"

#include <utility>

#include "QVFoundation/platform/application/NotificationRegistry_p.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {

namespace {

/// Stands for one registration. It keeps nothing of it, so that a block may own its own token.
class NotificationToken final : public NSObject {
public:
  NotificationToken(std::weak_ptr<detail::NotificationRegistry> registry,
                    std::weak_ptr<detail::NotificationObserver> observer)
      : registry_(std::move(registry)), observer_(std::move(observer)) {}

  /// Null where the registration is gone, or another centre's.
  [[nodiscard]] std::shared_ptr<detail::NotificationObserver> observerIn(
      const std::shared_ptr<detail::NotificationRegistry>& registry) const {
    return registry_.lock() == registry ? observer_.lock() : nullptr;
  }

private:
  const std::weak_ptr<detail::NotificationRegistry> registry_;
  const std::weak_ptr<detail::NotificationObserver> observer_;
};

}  // namespace

const std::shared_ptr<NSNotificationCenter>& NSNotificationCenter::defaultCenter() {
  static const auto& center =
      *new std::shared_ptr<NSNotificationCenter>(std::make_shared<NSNotificationCenter>());
  return center;
}

NSNotificationCenter::NSNotificationCenter() : registry_(std::make_shared<detail::NotificationRegistry>()) {}

NSNotificationCenter::~NSNotificationCenter() { registry_->removeAll(); }

std::shared_ptr<NSObject> NSNotificationCenter::addObserverForName(std::optional<std::string> name,
                                                                   const std::shared_ptr<NSObject>& object,
                                                                   std::shared_ptr<Scheduler> scheduler,
                                                                   Block block) {
  if (!block) {
    throw NSException(NSInvalidArgumentException,
                      "An observer of the notification \"" + name.value_or("(any)") + "\" needs a block");
  }
  const auto observer = std::make_shared<detail::NotificationObserver>(
      std::move(name), object, std::move(scheduler), std::move(block));
  registry_->add(observer);
  return std::make_shared<NotificationToken>(registry_, observer);
}

void NSNotificationCenter::removeObserver(const std::shared_ptr<NSObject>& token) {
  const auto registry = registry_;  // what the block has captured may hold this centre
  const auto ours = std::dynamic_pointer_cast<NotificationToken>(token);
  if (const auto observer = ours ? ours->observerIn(registry) : nullptr) registry->remove(*observer);
}

void NSNotificationCenter::postNotification(NSNotification notification) {
  // A block may let go of this centre, so from here on only the recipients are touched.
  auto recipients = registry_->recipientsOf(notification);
  while (const auto* const observer = recipients.next()) {
    detail::NotificationObserver::notify(*observer, notification);
  }
}

void NSNotificationCenter::postNotificationName(std::string name, std::shared_ptr<NSObject> object,
                                                Dictionary userInfo) {
  postNotification(NSNotification(std::move(name), std::move(object), std::move(userInfo)));
}

}  // namespace QVFoundation
