#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "QVFoundation/collections/QVWeakKeyDictionary.h"
#include "QVFoundation/observation/ElementFamily_p.h"
#include "QVFoundation/observation/KDObserverTrampoline_p.h"
#include "QVFoundation/observation/QVObservationManager.h"
#include "QVFoundation/platform/application/CancellableBag.h"
#include "QVFoundation/platform/concurrency/NSRecursiveLock.h"

namespace QVFoundation {

/// What a manager keeps. Tasks share it with the manager, which may go while they run.
///
/// Whatever is added is recorded under the lock and begins outside of it; whatever is removed is unlinked
/// under the lock and waited for outside. One that is removed between the two never begins.
struct QVObservationManager::State {
  using Trampoline = std::shared_ptr<detail::KDObserverTrampoline>;
  using Token = std::shared_ptr<NSObject>;

  struct Record {
    std::shared_ptr<QVObservationInfo> info;
    std::string token;
    Trampoline trampoline;
  };
  /// Records taken out of the list and not yet waited for, with what must not go under the lock.
  struct Removed {
    std::vector<Record> records;
    detail::KDObserverTrampoline::Released released;
  };

  // Under the lock.
  /// Puts a record in the place of the one with the same token, and clears away those of objects that have
  /// gone.
  void putIn(Record record, Removed& removed) QV_REQUIRES(lock);
  void takeOut(const std::string& token, Removed& removed,
               const detail::KDObserverTrampoline* onlyThis = nullptr) QV_REQUIRES(lock);
  void takeOutGone(Removed& removed) QV_REQUIRES(lock);
  void takeOutAll(Removed& removed) QV_REQUIRES(lock);

  // Without the lock.
  /// Records a trampoline and lets it begin. If that raises, it is taken out again.
  void begin(NSObject& object, std::string_view keyPath, const std::string& identifier,
             const Trampoline& trampoline);
  void end(const std::string& token, const detail::KDObserverTrampoline& trampoline);
  static void finish(const Removed& removed);

  NSRecursiveLock lock;
  std::uint64_t lastNumber QV_GUARDED_BY(lock) = 0;
  std::size_t sizeToCompactAt QV_GUARDED_BY(lock) = 64;
  std::map<std::uint64_t, Record> records QV_GUARDED_BY(lock);                 // in the order of registration
  std::unordered_map<std::string, std::uint64_t> numbers QV_GUARDED_BY(lock);  // of the records, by token
  // Those that are kept up by hand, by object, sub key paths and identifier.
  std::map<std::string, std::shared_ptr<Family>> families QV_GUARDED_BY(lock);
  std::unordered_map<std::string, Token> tokensByIdentifier QV_GUARDED_BY(lock);
  QVWeakKeyDictionary<NSNotificationCenter, std::set<Token>> tokensByNotificationCenter QV_GUARDED_BY(lock);
  CancellableBag cancellables;
};

/// A family whose registrations the manager lists.
class QVObservationManager::Family final : public detail::ElementFamily {
public:
  Family(const std::shared_ptr<State>& state, std::string_view keyPath, std::vector<std::string> subKeyPaths,
         NSKeyValueObservingOptions options, std::string identifier, ElementObservationTask task);

private:
  void noteBeginning(const detail::Placement& placement) override;
  void noteEnd(const detail::Placement& placement) noexcept override;

  const std::weak_ptr<State> state_;
};

}  // namespace QVFoundation
