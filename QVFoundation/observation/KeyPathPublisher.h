#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "QVFoundation/platform/application/Publisher.h"
#include "QVFoundation/platform/runtime/NSKeyValueObserving.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation {

/// Publishes each new value of what a key path leads to, as a `T`; the present one first, where `options`
/// have `NSKeyValueObservingOptionInitial`. A list is published whole, also where some elements alone have
/// changed. A value that is no `T` is passed over; ask for a `std::optional<T>` to hear of the absence of one
/// as well.
///
/// ```cpp
/// keyPathPublisher<std::string>(track, "album.title").sink([](const std::string& title) { show(title); });
/// ```
///
/// Threads: values come on the thread that changes the property, or where `receiveOn` says.
/// Ownership: the object is not kept. Once it is gone nothing comes any more; there is no completion.
/// Errors: subscribing raises `NSUndefinedKeyException` for a key that the object does not have.
template <class T>
[[nodiscard]] Publisher<T> keyPathPublisher(
    const std::shared_ptr<NSObject>& object, std::string_view keyPath,
    NSKeyValueObservingOptions options = NSKeyValueObservingOptionNone) {
  return Publisher<T>([weakObject = std::weak_ptr(object), keyPath = std::string(keyPath),
                       options = options | NSKeyValueObservingOptionNew](const Subscriber<T>& subscriber) {
    const auto observed = weakObject.lock();
    if (observed == nullptr) return Cancellable();
    auto observation = std::make_shared<NSKeyValueObservation>(NSKeyValueObservation::begin(
        *observed, keyPath, options, [subscriber, keyPath](NSObject& root, const NSKeyValueChange& change) {
          if (change.isPrior()) return;
          const bool isWhole = change.kind() == NSKeyValueChangeKind::setting;
          const Value value = isWhole ? change.newValue() : root.valueForKeyPath(keyPath);
          if (const std::optional<T> content = value.as<T>()) subscriber.receive(*content);
        }));
    return Cancellable([observation] { observation->invalidate(); });
  });
}

}  // namespace QVFoundation
