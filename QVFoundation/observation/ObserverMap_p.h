#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "QVFoundation/observation/KDObserverTrampoline_p.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/ThreadSafety.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation::detail {

/// The trampolines of one object by their tokens. It is associated with the object while there are any.
///
/// Threads: any.
class QV_TEST_EXPORT ObserverMap : public std::enable_shared_from_this<ObserverMap> {
public:
  ObserverMap() = default;
  ObserverMap(const ObserverMap&) = delete;
  ObserverMap& operator=(const ObserverMap&) = delete;
  /// Cancels all: their object goes.
  ~ObserverMap();

  /// Null where nothing is observed by trampolines.
  [[nodiscard]] static std::shared_ptr<ObserverMap> ofIfAny(const NSObject& object);
  [[nodiscard]] Dictionary content() const;

  /// Stores a trampoline and lets it begin, and cancels the one that was there. If that raises it does not
  /// stay. One that has been cancelled before leaves all as it is.
  static void start(NSObject& object, const std::string& token,
                    const std::shared_ptr<KDObserverTrampoline>& trampoline);

  /// Takes out what is stored under a token, or only a certain trampoline; null where it is not there.
  static std::shared_ptr<KDObserverTrampoline> take(NSObject& object, std::string_view token,
                                                    const KDObserverTrampoline* onlyThis = nullptr);

private:
  struct TextHash : std::hash<std::string_view> {
    using is_transparent = void;
  };
  using Trampolines =
      std::unordered_map<std::string, std::shared_ptr<KDObserverTrampoline>, TextHash, std::equal_to<>>;

  /// Leaves what was there before in `trampoline`; does nothing with one that is cancelled. False where this
  /// map is no longer the object's.
  bool exchange(const std::string& token, std::shared_ptr<KDObserverTrampoline>& trampoline);
  /// Detaches the map from its object if it is empty.
  void detachIfEmpty(NSObject& object);

  mutable UnfairLock lock_;
  Trampolines trampolines_ QV_GUARDED_BY(lock_);
  bool isDetached_ QV_GUARDED_BY(lock_) = false;
};

}  // namespace QVFoundation::detail
