#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "QVFoundation/platform/runtime/ChangeNotice.h"
#include "QVFoundation/platform/runtime/KeyValueRegistration_p.h"
#include "QVFoundation/platform/runtime/NSKeyValueChange.h"
#include "QVFoundation/platform/runtime/ObservationInfo_p.h"
#include "QVFoundation/platform/runtime/ObserverWalk_p.h"
#include "QVFoundation/platform/runtime/Value.h"

namespace QVFoundation::detail {

/// What has to be known of a change when it has happened.
struct PendingChange {
  Value old;  // of the key, or of its elements concerned
  std::vector<std::pair<std::shared_ptr<KeyValueRegistration>, Value>> oldOfPaths;
};

/// Takes one change to those who observe it, before it happens or afterwards.
///
/// Threads: belongs to the thread that changes.
class ChangeDelivery {
public:
  /// The change must outlive it, and the pending change, if there is one. The information is what hangs on
  /// the object.
  ChangeDelivery(const ChangeSite& site, ObservationInfo& info, PendingChange* pending) noexcept
      : site_(site), pending_(pending), walk_(info) {
    change_.kind_ = site.kind;
    change_.indexes_ = site.indexes;
  }

  void tellBefore();
  void tellAfter();

  static void tellInitialValue(KeyValueRegistration& registration, NSObject& root);

private:
  void tellBefore(const ObserverHook& hook);
  void tellAfter(const ObserverHook& hook);
  void tellAfterOnPath(KeyValueRegistration& registration);
  void readNewValue(const KeyValueRegistration& registration);
  void call(KeyValueRegistration& registration, NSObject& root, NSKeyValueChange& change);
  /// Calls an observer of the key itself, wherever its path begins.
  void callForKey(const ObserverHook& hook);
  [[nodiscard]] Value valueOfKey() const;

  const ChangeSite& site_;
  PendingChange* const pending_;
  ObserverWalk walk_;
  std::optional<Value> new_;  // of the key; read when the first observer wants it
  NSKeyValueChange change_;   // of the key; all its observers are handed this one
};

/// While it exists, notices of this thread for a property say nothing: somebody further out tells of the
/// change. Not while observers are called, however: what they change is another matter.
class QuietProperty {
public:
  class Pause;

  QuietProperty(const NSObject& object, std::string_view key) noexcept;
  QuietProperty(const QuietProperty&) = delete;
  QuietProperty& operator=(const QuietProperty&) = delete;
  ~QuietProperty();

  [[nodiscard]] static bool isAny() noexcept { return innermost != nullptr; }
  [[nodiscard]] static bool includes(const NSObject& object, std::string_view key) noexcept {
    return isAny() && innermost->orOuterIncludes(object, key);
  }

private:
  [[nodiscard]] bool orOuterIncludes(const NSObject& object, std::string_view key) const noexcept;

  static constinit thread_local const QuietProperty* innermost;

  const NSObject& object_;
  const std::string_view key_;
  const QuietProperty* const outer_;
};

class QuietProperty::Pause {
public:
  Pause() noexcept : paused_(std::exchange(innermost, nullptr)) {}
  Pause(const Pause&) = delete;
  Pause& operator=(const Pause&) = delete;
  ~Pause() { innermost = paused_; }

private:
  const QuietProperty* const paused_;
};

}  // namespace QVFoundation::detail
