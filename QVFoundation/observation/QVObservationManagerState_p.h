#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "QVFoundation/collections/QVWeakKeyDictionary.h"
#include "QVFoundation/observation/ElementCounts_p.h"
#include "QVFoundation/observation/KDObserverTrampoline_p.h"
#include "QVFoundation/observation/QVObservationManager.h"
#include "QVFoundation/platform/application/CancellableBag.h"
#include "QVFoundation/platform/concurrency/NSRecursiveLock.h"

namespace QVFoundation {

/// What a manager keeps. Tasks share it with the manager, which may go while they run.
///
/// Whatever is added is recorded under the lock and begins outside of it; whatever is removed is unlinked under the
/// lock and waited for outside. One that is removed between the two never begins.
struct QVObservationManager::State : std::enable_shared_from_this<State> {
  using Trampoline = std::shared_ptr<detail::KDObserverTrampoline>;
  using Token = std::shared_ptr<NSObject>;

  struct Record {
    std::shared_ptr<QVObservationInfo> info;
    std::string token;
    Trampoline trampoline;
  };
  /// Records taken out of the list and not yet waited for, or put in and not yet begun.
  using Unfinished = std::vector<Record>;

  // Under the lock.
  /// Puts a record in, and takes out the one whose place it takes.
  [[nodiscard]] Record record(NSObject& object, std::string_view keyPath, NSKeyValueObservingOptions options,
                              const std::string& identifier, ObservationTask task, Unfinished& removed);
  void takeOut(const std::string& token, Unfinished& removed);
  void takeOutAll(Unfinished& removed);

  // Without the lock.
  static void finish(const Unfinished& removed);
  /// Begins all. If one raises, it and those after it are taken out again.
  void begin(const Unfinished& added);

  NSRecursiveLock lock;
  std::uint64_t lastNumber = 0;
  std::map<std::uint64_t, Record> records;                  // in the order of registration
  std::unordered_map<std::string, std::uint64_t> numbers;   // of the records, by token
  std::map<std::string, std::shared_ptr<Family>> families;  // by object, sub key paths and identifier
  std::unordered_map<std::string, Token> tokensByIdentifier;
  QVWeakKeyDictionary<NSNotificationCenter, std::set<Token>> tokensByNotificationCenter;
  CancellableBag cancellables;
};

/// The observations of the elements of one list.
class QVObservationManager::Family {
public:
  Family(std::vector<std::string> subKeyPaths, NSKeyValueObservingOptions options, std::string identifier,
         ElementObservationTask task);

  [[nodiscard]] static std::string key(const NSObject& object, const std::vector<std::string>& subKeyPaths,
                                       const std::string& identifier);

  // Both under the lock of the state, without waiting or calling anybody.
  /// Counts a change in; does nothing once the family has ended.
  void update(State& state, const NSKeyValueChange& change, State::Unfinished& removed,
              State::Unfinished& added);
  void end(State& state, State::Unfinished& removed);

private:
  const std::vector<std::string> subKeyPaths_;
  const NSKeyValueObservingOptions options_;
  const std::string identifier_;
  const std::shared_ptr<const ElementObservationTask> task_;
  detail::ElementCounts counts_;
  bool hasEnded_ = false;
};

}  // namespace QVFoundation
