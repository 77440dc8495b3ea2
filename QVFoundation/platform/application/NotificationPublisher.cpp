#include "QVFoundation/platform/application/NotificationPublisher.h"

#include <utility>

namespace QVFoundation {

Publisher<NSNotification> publisherForName(std::shared_ptr<NSNotificationCenter> center,
                                           std::optional<std::string> name,
                                           std::shared_ptr<NSObject> object) {
  return Publisher<NSNotification>(
      [center = std::move(center), name = std::move(name),
       object = std::move(object)](const Subscriber<NSNotification>& subscriber) {
        auto token = center->addObserverForName(
            name, object, nullptr,
            [subscriber](const NSNotification& notification) { subscriber.receive(notification); });
        return Cancellable([observed = std::weak_ptr(center), token = std::move(token)] {
          if (const auto present = observed.lock()) present->removeObserver(token);
        });
      });
}

}  // namespace QVFoundation
