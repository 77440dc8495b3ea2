#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/ThreadSafety.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"
#include "QVFoundation/platform/runtime/KeyValueRegistration_p.h"
#include "QVFoundation/platform/runtime/NSKeyValueObserving.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation::detail {

class ElementFamily;

/// Observes a key path of one object for a callable.
///
/// Between its creation and `begin` it may be cancelled already; then it never begins. One that observes a
/// list owns the family of what is observed of its elements, which ends with it.
///
/// Threads: any.
/// Ownership: kept by the observed object, in its observer map and by its registration; knows the object
/// without keeping it.
class QV_TEST_EXPORT KDObserverTrampoline final : public NSObject, public NSKeyValueObserver {
public:
  using Task = std::function<void(NSObject& object, const NSKeyValueChange& change)>;

  KDObserverTrampoline(NSObject& observee, std::string_view keyPath, NSKeyValueObservingOptions options,
                       Task task, std::shared_ptr<ElementFamily> family = nullptr);
  /// Cancels, without waiting.
  ~KDObserverTrampoline() override;

  /// Registers with the object, which may call the task at once.
  void begin();
  /// Ends the observation, once; later calls do nothing. Waits until the task has ended on other threads, as
  /// `removeObserver` does.
  void cancelObservation() noexcept;
  using Released = KeyValueRegistration::Released;
  /// The two halves of it. The first may be called with a lock held: it calls nobody.
  void unlink(Released& released) noexcept;
  void awaitEnd() noexcept;
  /// Cancels without waiting: its object goes.
  void objectGoes() noexcept;
  [[nodiscard]] bool isCancelled() const noexcept { return observee_.load() == nullptr; }

  void observeValueForKeyPath(std::string_view keyPath, NSObject& object, const NSKeyValueChange& change,
                              const void* context) override;
  [[nodiscard]] std::string description() const override;

private:
  [[nodiscard]] std::shared_ptr<KeyValueRegistration> registration() const noexcept;

  const std::string keyPath_;
  const NSKeyValueObservingOptions options_;
  const Task task_;
  const std::shared_ptr<ElementFamily> family_;

  mutable UnfairLock lock_;
  std::atomic<NSObject*> observee_;  // null once cancelled; written under the lock
  std::weak_ptr<KeyValueRegistration> registration_ QV_GUARDED_BY(lock_);  // keeps the trampoline in its turn
};

}  // namespace QVFoundation::detail
