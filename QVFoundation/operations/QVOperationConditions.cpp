#include "QVFoundation/operations/QVOperation.h"

#include <chrono>
#include <vector>

#include "QVFoundation/operations/NamedCondition_p.h"
#include "QVFoundation/platform/concurrency/MainQueue.h"
#include "QVFoundation/platform/runtime/FatalError.h"

namespace QVFoundation {

namespace {

// How often a question is asked, and looked whether there is still something to wait for.
constexpr std::chrono::milliseconds tick(50);

}  // namespace

QVOperation::RegisteredCondition::RegisteredCondition(QVOperation& operation,
                                                      const QVOperationConditionName& name)
    : operation_(operation), name_(name) {
  auto condition = std::make_shared<detail::NamedCondition>(name.rawValue());
  const UnfairLockGuard guard(operation_.lock_);
  operation_.conditionsByName_.insert_or_assign(name, std::move(condition));
}

QVOperation::RegisteredCondition::~RegisteredCondition() {
  Conditions::node_type removed;  // goes after the lock
  const UnfairLockGuard guard(operation_.lock_);
  removed = operation_.conditionsByName_.extract(name_);
}

std::shared_ptr<detail::NamedCondition> QVOperation::conditionNamed(
    const QVOperationConditionName& name) const {
  const UnfairLockGuard guard(lock_);
  const auto found = conditionsByName_.find(name);
  return found != conditionsByName_.end() ? found->second : nullptr;
}

std::shared_ptr<detail::NamedCondition> QVOperation::existingCondition(
    const QVOperationConditionName& name) const {
  if (auto condition = conditionNamed(name)) return condition;
  fatalError("Tried to wait on condition " + name.rawValue() +
                 " without calling performBlockWithConditionName: first",
             "QVFoundation/QVOperation", 520);
}

void QVOperation::wait(const QVOperationConditionName& onConditionName) { wait(onConditionName, {}); }

// A wait that begins after the cancellation, which nothing may be left to end, gives up after a while.
void QVOperation::wait(const QVOperationConditionName& onConditionName,
                       const std::function<bool()>& conditionChecker) {
  const auto condition = existingCondition(onConditionName);
  detail::NamedCondition::Wait wait(*condition);
  do {
    if (conditionChecker && conditionChecker()) return;
  } while (!wait.isSignalledWithin(tick) && !hasToEnd());
}

void QVOperation::signal(const QVOperationConditionName& conditionName) {
  if (const auto condition = conditionNamed(conditionName)) condition->signal();
}

void QVOperation::awaitSubOperation(const QVOperation& operation, const QVOperationConditionName& name) {
  const auto condition = existingCondition(name);
  detail::NamedCondition::Wait wait(*condition);
  while (!operation.isFinished()) {
    (void)wait.isSignalledWithin(tick);
    if (isMainThread()) drainMainQueue();  // where a coroutine may want to go on
  }
}

void QVOperation::wakeAllConditions() {
  std::vector<std::shared_ptr<detail::NamedCondition>> conditions;
  {
    const UnfairLockGuard guard(lock_);
    for (const auto& [name, condition] : conditionsByName_) conditions.push_back(condition);
  }
  for (const auto& condition : conditions) condition->broadcast();
}

}  // namespace QVFoundation
