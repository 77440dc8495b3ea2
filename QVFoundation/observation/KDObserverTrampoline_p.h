#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/KeyValueRegistration_p.h"
#include "QVFoundation/platform/runtime/NSKeyValueObserving.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation::detail {

/// Observes a key path of one object for a callable.
///
/// Between its creation and `begin` it may be cancelled already; then it never begins.
///
/// Threads: any.
/// Ownership: kept by the observed object, in its observer map and by its registration; knows the object without
/// keeping it.
class QV_TEST_EXPORT KDObserverTrampoline final : public NSObject, public NSKeyValueObserver {
public:
  using Task = std::function<void(NSObject& object, const NSKeyValueChange& change)>;

  static std::shared_ptr<KDObserverTrampoline> make(NSObject& observee, std::string_view keyPath,
                                                    NSKeyValueObservingOptions options, Task task);
  KDObserverTrampoline(NSObject& observee, std::string_view keyPath, Task task);
  /// Cancels.
  ~KDObserverTrampoline() override;

  /// Registers with the object, which may call the task at once.
  void begin();
  /// Ends the observation, once; later calls do nothing. Waits until the task has ended on other threads, as
  /// `removeObserver` does.
  void cancelObservation() noexcept;
  /// The two halves of it.
  void unlink() noexcept;
  void awaitEnd() noexcept;
  [[nodiscard]] bool isCancelled() const noexcept { return observee_.load() == nullptr; }

  void observeValueForKeyPath(std::string_view keyPath, NSObject& object, const NSKeyValueChange& change,
                              const void* context) override;
  [[nodiscard]] std::string description() const override;

private:
  std::atomic<NSObject*> observee_;  // null once cancelled
  const std::string keyPath_;
  const Task task_;
  std::shared_ptr<KeyValueRegistration> unbegun_;  // until `begin`: it keeps the trampoline in its turn
  std::weak_ptr<KeyValueRegistration> registration_;
};

}  // namespace QVFoundation::detail
