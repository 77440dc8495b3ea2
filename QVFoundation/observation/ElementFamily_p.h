#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "QVFoundation/observation/ElementCounts_p.h"
#include "QVFoundation/observation/KDBlockObservation.h"
#include "QVFoundation/observation/KDObserverTrampoline_p.h"
#include "QVFoundation/platform/concurrency/Mutex.h"
#include "QVFoundation/platform/runtime/NSKeyValueChange.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation::detail {

/// A trampoline, and where it is registered.
struct Placement {
  std::weak_ptr<NSObject> target;
  std::string keyPath;
  std::string token;
  std::shared_ptr<KDObserverTrampoline> trampoline;
};

/// The observations of sub key paths of every element of a list, kept in step with the list. The trampoline
/// that observes the list owns its family, which ends with it.
///
/// A change that sets the list has it read anew. Insertions, removals and replacements are counted; where the
/// count does not come to what the list has, because changes have overtaken each other, it is read anew as
/// well. So the family is in step when the last change has been told, whatever came in between.
///
/// Threads: any. Under the lock trampolines are made and cancelled; outside of it they begin and are waited
/// for. One that is cancelled in between never begins.
class ElementFamily {
public:
  enum class Wait : bool { no, yes };

  ElementFamily(std::string_view keyPath, std::vector<std::string> subKeyPaths,
                NSKeyValueObservingOptions options, std::string identifier, ElementObservationTask task);
  ElementFamily(const ElementFamily&) = delete;
  ElementFamily& operator=(const ElementFamily&) = delete;
  virtual ~ElementFamily();

  /// Observes the elements that the list has now. Raises where one of them has no such sub key path.
  void begin(const NSObject& object);
  /// Keeps in step with a change of the list. An element that has no such sub key path is reported on
  /// standard error and left alone.
  void follow(const NSObject& object, const NSKeyValueChange& change);
  /// Takes old elements out and new ones in, which are observed for a task of their own. False, and nothing done,
  /// where the family has ended.
  bool exchange(const NSKeyValueChange& change, NSKeyValueObservingOptions options,
                const ElementObservationTask& task);
  /// Ends all observations that the family has made, and those alone. Nothing is observed afterwards.
  void end(Wait wait) noexcept;

  /// Ends a family that observes nothing; false where it observes something.
  bool endIfEmpty();
  [[nodiscard]] const std::string& identifier() const noexcept { return identifier_; }

protected:
  // For those who keep a list of all registrations. Called without the lock.
  virtual void noteBeginning(const Placement& /*placement*/) {}
  virtual void noteEnd(const Placement& /*placement*/) noexcept {}

private:
  /// What a step under the lock leaves to be done outside of it.
  struct Steps {
    ElementCounts::Difference difference;  // keeps the elements for so long
    KDObserverTrampoline::Released released;
    std::vector<Placement> removed;
    std::vector<Placement> added;
  };
  enum class Unknown : bool { raises, isReported };

  void read(const NSObject& object, Unknown unknownKeys);
  void prepare(Steps& steps) QV_REQUIRES(lock_);
  void takeOut(const NSObject* element, Steps& steps) QV_REQUIRES(lock_);
  void dropGone(Steps& steps) QV_REQUIRES(lock_);
  [[nodiscard]] Placement place(const std::shared_ptr<NSObject>& element, const std::string& subKeyPath)
      QV_REQUIRES(lock_);
  void carryOut(const Steps& steps, Unknown unknownKeys, Wait wait = Wait::yes);
  void begin(const Placement& placement, Unknown unknownKeys);

  const std::string keyPath_;
  const std::vector<std::string> subKeyPaths_;
  const std::string identifier_;

  Mutex lock_;
  NSKeyValueObservingOptions options_ QV_GUARDED_BY(lock_);
  std::shared_ptr<const ElementObservationTask> task_ QV_GUARDED_BY(lock_);
  ElementCounts counts_ QV_GUARDED_BY(lock_);
  std::uint64_t steps_ QV_GUARDED_BY(lock_) = 0;  // how often the counts have changed
  std::unordered_map<const NSObject*, std::vector<Placement>> placements_ QV_GUARDED_BY(lock_);
  bool hasEnded_ QV_GUARDED_BY(lock_) = false;
};

}  // namespace QVFoundation::detail
