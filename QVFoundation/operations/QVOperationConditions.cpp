#include "QVFoundation/operations/QVOperation.h"

#include <chrono>
#include <vector>

#include "QVFoundation/platform/runtime/FatalError.h"

namespace QVFoundation {

namespace {

// So long may a signal that was missed go unnoticed, and a question unanswered.
constexpr std::chrono::milliseconds tick(50);

/// False where the tick has passed without a signal.
bool awaitSignal(NSCondition& condition) {
  const NSConditionGuard guard(condition);
  return condition.waitFor(tick);
}

}  // namespace

QVOperation::RegisteredCondition::RegisteredCondition(QVOperation& operation,
                                                      const QVOperationConditionName& name)
    : operation_(operation), name_(name) {
  auto condition = std::make_shared<NSCondition>();
  condition->setName(name.rawValue());
  const UnfairLockGuard guard(operation_.lock_);
  operation_.conditionsByName_.insert_or_assign(name, std::move(condition));
}

QVOperation::RegisteredCondition::~RegisteredCondition() {
  Conditions::node_type removed;  // goes after the lock
  const UnfairLockGuard guard(operation_.lock_);
  removed = operation_.conditionsByName_.extract(name_);
}

std::shared_ptr<NSCondition> QVOperation::conditionNamed(const QVOperationConditionName& name) const {
  const UnfairLockGuard guard(lock_);
  const auto found = conditionsByName_.find(name);
  return found != conditionsByName_.end() ? found->second : nullptr;
}

std::shared_ptr<NSCondition> QVOperation::existingCondition(const QVOperationConditionName& name) const {
  if (auto condition = conditionNamed(name)) return condition;
  fatalError("Tried to wait on condition " + name.rawValue() +
                 " without calling performBlockWithConditionName: first",
             "QVFoundation/QVOperation", 520);
}

void QVOperation::wait(const QVOperationConditionName& onConditionName) { wait(onConditionName, {}); }

// A body that goes on waiting once it is cancelled, until what it has begun has ended, does so tick by tick.
void QVOperation::wait(const QVOperationConditionName& onConditionName,
                       const std::function<bool()>& conditionChecker) {
  const auto condition = existingCondition(onConditionName);
  if (conditionChecker && conditionChecker()) return;
  while (!awaitSignal(*condition) && !hasToEnd()) {
    if (conditionChecker && conditionChecker()) return;
  }
}

void QVOperation::signal(const QVOperationConditionName& conditionName) {
  const auto condition = conditionNamed(conditionName);
  if (condition == nullptr) return;
  const NSConditionGuard guard(*condition);
  condition->signal();
}

void QVOperation::awaitSubOperation(const QVOperation& operation, const QVOperationConditionName& name) {
  const auto condition = existingCondition(name);
  const NSConditionGuard guard(*condition);
  while (!operation.isFinished()) (void)condition->waitFor(tick);
}

void QVOperation::wakeAllConditions() {
  std::vector<std::shared_ptr<NSCondition>> conditions;
  {
    const UnfairLockGuard guard(lock_);
    for (const auto& [name, condition] : conditionsByName_) conditions.push_back(condition);
  }
  for (const auto& condition : conditions) {
    const NSConditionGuard guard(*condition);
    condition->broadcast();
  }
}

}  // namespace QVFoundation
