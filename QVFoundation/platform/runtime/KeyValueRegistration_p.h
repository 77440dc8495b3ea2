#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/Listener.h"
#include "QVFoundation/platform/concurrency/ThreadSafety.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSKeyValueObserving.h"
#include "QVFoundation/platform/runtime/ObserverTable_p.h"

namespace QVFoundation::detail {

/// One observer of one key path of one object, the root.
///
/// | state  | begin          | unlink, or the root goes |
/// |--------|----------------|--------------------------|
/// | fresh  | hooked         | ended                    |
/// | hooked | –              | ended                    |
/// | ended  | ended, no task | ended                    |
///
/// It has hooks on the root and on each object that the path leads over, and on what a property there depends
/// on. When one of the latter changes, the path is walked again and the hooks move.
///
/// Threads: any. The lock is taken before that of an object's `ObservationInfo`, and never while a getter or
/// a task runs.
/// Ownership: kept alive by its hooks, and by whoever wants to end it. It keeps the observer.
class KeyValueRegistration : public Listener, public std::enable_shared_from_this<KeyValueRegistration> {
public:
  /// Whether an object that goes away while it is observed has been forgotten by somebody.
  enum class EndsWithObject : bool { no, yes };

  KeyValueRegistration(NSObject& root, std::string_view keyPath, NSKeyValueObservingOptions options,
                       std::shared_ptr<NSKeyValueObserver> observer, const void* context,
                       EndsWithObject endsWithObject);
  KeyValueRegistration(const KeyValueRegistration&) = delete;
  KeyValueRegistration& operator=(const KeyValueRegistration&) = delete;
  virtual ~KeyValueRegistration();

  [[nodiscard]] const std::string& keyPath() const noexcept { return keyPath_; }
  [[nodiscard]] NSKeyValueObservingOptions options() const noexcept { return options_; }
  [[nodiscard]] bool has(NSKeyValueObservingOptions option) const noexcept {
    return (options_ & option) != 0;
  }
  [[nodiscard]] bool endsWithObject() const noexcept { return endsWithObject_ == EndsWithObject::yes; }
  [[nodiscard]] bool isOn(const NSObject& root) const noexcept { return rootAddress_ == &root; }
  [[nodiscard]] bool isOf(const NSKeyValueObserver& observer, const void* context) const noexcept {
    return observer_.get() == &observer && context_ == context;
  }
  [[nodiscard]] const NSClass& rootClass() const noexcept { return rootClass_; }

  /// Hooks the path and tells of the initial value if that is asked for. Does nothing if it has ended
  /// already. The caller keeps the root alive.
  void begin(NSObject& root);
  using Released = std::vector<std::shared_ptr<NSObject>>;
  /// Ends it; false if it had ended. A task may still run on another thread. Objects on the path are handed
  /// over: whoever holds a lock lets go of them after it.
  bool unlink(Released& released) noexcept;
  bool unlink() noexcept {
    Released released;
    return unlink(released);
  }
  /// Waits until none does, as `Listener::awaitCalls` says.
  void awaitEnd() const noexcept;

  /// The root, kept alive if it is shared; null if it is gone.
  struct Root {
    NSObject* object = nullptr;
    std::shared_ptr<NSObject> owner;
  };
  [[nodiscard]] Root root();
  /// What to do about an object on the path that lacks a key: when somebody begins to observe, it is his
  /// mistake; when another object comes, it is not that of who exchanged it.
  enum class UnknownKeys : bool { raise, endThePath };
  /// Moves the hooks to the objects that the path leads over now.
  void followPath(NSObject& root, UnknownKeys unknownKeys = UnknownKeys::endThePath);
  /// Calls the observer. What it throws ends the process.
  void notify(NSObject& root, const NSKeyValueChange& change) noexcept {
    try {
      tell(root, change);
    } catch (...) {
      endProcessForException(root);
    }
  }

protected:
  virtual void tell(NSObject& root, const NSKeyValueChange& change) {
    observer_->observeValueForKeyPath(keyPath_, root, change, context_);
  }

private:
  enum class State : std::uint8_t { fresh, hooked, ended };
  class PathWalk;

  /// Where it hangs on an object.
  struct Place {
    NSObject* address = nullptr;     // stands for an object that may be gone
    std::weak_ptr<NSObject> object;  // empty for the root
    std::string_view key;            // text of the path, or of the class that has the dependency
    HookRole role = HookRole::own;

    friend bool operator==(const Place& a, const Place& b) noexcept {
      return a.address == b.address && !a.object.owner_before(b.object) && !b.object.owner_before(a.object) &&
             a.key == b.key && a.role == b.role;
    }
  };

  [[noreturn]] void endProcessForException(const NSObject& root) const noexcept;
  void movePlaces(std::vector<Place> places, Released& released) QV_REQUIRES(lock_);
  [[nodiscard]] static std::vector<const Place*> missingIn(const std::vector<Place>& others,
                                                           const std::vector<Place>& places);
  void unhook(const Place& place, Released& released) noexcept QV_REQUIRES(lock_);
  [[nodiscard]] NSObject* objectAt(const Place& place, Released& released) noexcept QV_REQUIRES(lock_);

  const std::string keyPath_;
  const NSKeyValueObservingOptions options_;
  const EndsWithObject endsWithObject_;
  const std::shared_ptr<NSKeyValueObserver> observer_;  // null where `tell` is overridden
  const void* const context_;
  const NSObject* const rootAddress_;
  const NSClass& rootClass_;
  const NSProperty* const
      property_;        // that the path names; null for a path of several, and for keys not listed
  const bool isPlain_;  // a path of one key that depends on nothing: one hook, which never moves
  std::atomic<const void*> rootInfo_{nullptr};  // the owner of the table that the plain hook stands in

  UnfairLock lock_;
  State state_ QV_GUARDED_BY(lock_) = State::fresh;
  NSObject* root_ QV_GUARDED_BY(lock_);
  std::vector<Place> places_ QV_GUARDED_BY(lock_);  // of one that is not plain
  std::uint64_t walksBegun_ QV_GUARDED_BY(lock_) = 0;
  std::uint64_t walkInstalled_ QV_GUARDED_BY(lock_) = 0;
};

}  // namespace QVFoundation::detail
