#include "QVFoundation/platform/concurrency/NSOperation.h"

#include <algorithm>
#include <iterator>
#include <unordered_set>
#include <utility>

#include "QVFoundation/platform/concurrency/ThreadPool_p.h"
#include "QVFoundation/platform/concurrency/WakeUp_p.h"
#include "QVFoundation/platform/runtime/ChangeNotice.h"
#include "QVFoundation/platform/runtime/EscapedException_p.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {

namespace {

[[noreturn]] void refuse(const NSOperation& operation, const char* why) {
  throw NSException(NSInvalidArgumentException, operation.shortDescription() + ' ' + why);
}

}  // namespace

struct NSOperation::Waiter {
  detail::WakeUp end;
  Waiter* next = nullptr;
};

const NSClass& NSOperation::staticClass() {
  static const NSClass& cls =
      *new NSClass(NSClass::define<NSOperation>("NSOperation", NSObject::staticClass())
                       .readOnly("isCancelled", &NSOperation::isCancelled)
                       .readOnly("isExecuting", &NSOperation::isExecuting)
                       .readOnly("isFinished", &NSOperation::isFinished)
                       .readOnly("isReady", &NSOperation::isReady)
                       .readOnly("isAsynchronous", &NSOperation::isAsynchronous)
                       .readOnly("dependencies", &NSOperation::dependencies)
                       .property("queuePriority", &NSOperation::queuePriority, &NSOperation::setQueuePriority)
                       .property("name", &NSOperation::name, &NSOperation::setName));
  return cls;
}

NSOperation::NSOperation() : NSObject(HearsOwnChanges()) {}

// A long chain of operations that never ran is let go of one by one, not each from inside the one before.
NSOperation::~NSOperation() {
  std::vector<std::shared_ptr<NSOperation>> released;
  {
    const UnfairLockGuard guard(lock_);
    released.swap(dependencies_);
  }
  while (!released.empty()) {
    const auto last = std::move(released.back());
    released.pop_back();
    if (last.use_count() > 1) continue;
    const UnfairLockGuard guard(last->lock_);
    std::ranges::move(last->dependencies_, std::back_inserter(released));
    last->dependencies_.clear();
  }
}

// An observer may let go of the operation while it is told.

void NSOperation::start() {
  const auto self = weak_from_this().lock();
  if (isFinished()) return;
  if (!isReady()) refuse(*this, "cannot start: it depends on operations that have not finished");
  if (hasBegun_.exchange(true)) refuse(*this, "has been started already");
  if (!isCancelled()) {
    {
      const ChangeNotice executing(*this, "isExecuting");
      state_ = State::executing;
    }
    runMain();
    const ChangeNotice finished(*this, "isFinished");
    const ChangeNotice executing(*this, "isExecuting");  // told first
    state_ = State::finished;
  } else {
    const ChangeNotice finished(*this, "isFinished");
    state_ = State::finished;
  }
}

void NSOperation::main() {}

void NSOperation::runMain() noexcept {
  try {
    main();
  } catch (...) {
    detail::endForEscapedException("The operation " + shortDescription());
  }
}

void NSOperation::cancel() {
  if (isCancelled()) return;
  const auto self = weak_from_this().lock();
  {
    const ChangeNotice cancelled(*this, "isCancelled");
    const ChangeNotice ready(*this, "isReady");
    isCancelled_.store(true, std::memory_order_release);
  }
  offerIfReady();
}

void NSOperation::valueDidChange(std::string_view key) noexcept {
  if (key == "isFinished" && isFinished()) tellEnd();
}

void NSOperation::tellEnd() noexcept {
  std::vector<std::shared_ptr<NSOperation>> dependencies;  // go after the lock
  std::vector<std::weak_ptr<NSOperation>> dependents;
  std::shared_ptr<detail::OperationOwner> owner;
  std::function<void()> completionBlock;
  Waiter* waiter = nullptr;
  {
    const UnfairLockGuard guard(lock_);
    if (std::exchange(hasEnded_, true)) return;
    dependencies.swap(dependencies_);
    dependents.swap(dependents_);
    owner.swap(owner_);
    completionBlock.swap(completionBlock_);
    waiter = std::exchange(waiters_, nullptr);
  }
  while (waiter != nullptr) std::exchange(waiter, waiter->next)->end.send();
  for (const auto& dependent : dependents) {
    if (const auto present = dependent.lock()) present->noteDependencyEnded();
  }
  if (owner != nullptr) owner->operationHasFinished(*this);
  if (!completionBlock) return;
  try {
    completionBlock();
  } catch (...) {
    detail::endForEscapedException("The completion block of " + shortDescription());
  }
}

void NSOperation::addDependency(const std::shared_ptr<NSOperation>& operation) {
  if (operation == nullptr) refuse(*this, "cannot depend on nothing");
  if (weak_from_this().expired()) refuse(*this, "depends on others only where a std::shared_ptr holds it");
  if (hasBegun_) refuse(*this, "has been started already, so it cannot wait any more");
  if (operation.get() == this || (hasDependents() && operation->waitsFor(*this))) {
    refuse(*this, ("cannot wait for " + operation->shortDescription() + ", which waits for it").c_str());
  }
  const ChangeNotice dependencies(*this, "dependencies");
  const ChangeNotice ready(*this, "isReady");
  {
    const UnfairLockGuard guard(lock_);
    if (std::ranges::find(dependencies_, operation) != dependencies_.end()) return;
    dependencies_.push_back(operation);
  }
  ++unfinished_;  // before it can end
  if (!waitForEndOf(*operation)) --unfinished_;
}

bool NSOperation::waitForEndOf(NSOperation& operation) {
  const UnfairLockGuard guard(operation.lock_);
  if (operation.hasEnded_) return false;
  operation.dependents_.push_back(std::static_pointer_cast<NSOperation>(shared_from_this()));
  return true;
}

void NSOperation::removeDependency(const NSOperation& operation) {
  const auto self = weak_from_this().lock();
  std::shared_ptr<NSOperation> removed;
  {
    const ChangeNotice dependencies(*this, "dependencies");
    const UnfairLockGuard guard(lock_);
    const auto found = std::ranges::find(dependencies_, &operation, &std::shared_ptr<NSOperation>::get);
    if (found == dependencies_.end()) return;
    removed = std::move(*found);
    dependencies_.erase(found);
  }
  bool wasWaitedFor = false;
  {
    const UnfairLockGuard guard(removed->lock_);
    wasWaitedFor =
        std::erase_if(removed->dependents_, [this](const auto& dependent) {
          return !dependent.owner_before(weak_from_this()) && !weak_from_this().owner_before(dependent);
        }) > 0;
  }
  if (wasWaitedFor) noteDependencyEnded();
}

void NSOperation::noteDependencyEnded() {
  {
    const ChangeNotice ready(*this, "isReady");
    --unfinished_;
  }
  offerIfReady();
}

void NSOperation::offerIfReady() {
  if (!isReady()) return;
  if (const auto queue = owner()) queue->operationIsReady(*this);
}

std::shared_ptr<detail::OperationOwner> NSOperation::owner() const {
  const UnfairLockGuard guard(lock_);
  return owner_;
}

bool NSOperation::join(std::shared_ptr<detail::OperationOwner> owner) {
  if (hasBegun_ || isExecuting() || isFinished()) return false;
  const UnfairLockGuard guard(lock_);
  if (owner_ != nullptr || hasEnded_) return false;
  owner_ = std::move(owner);
  return true;
}

bool NSOperation::hasDependents() const {
  const UnfairLockGuard guard(lock_);
  return !dependents_.empty();
}

bool NSOperation::waitsFor(const NSOperation& other) const {
  std::unordered_set<const NSOperation*> seen;
  auto toVisit = dependencies();
  while (!toVisit.empty()) {
    const auto operation = std::move(toVisit.back());
    toVisit.pop_back();
    if (operation.get() == &other) return true;
    if (!seen.insert(operation.get()).second) continue;
    const auto further = operation->dependencies();
    toVisit.insert(toVisit.end(), further.begin(), further.end());
  }
  return false;
}

std::vector<std::shared_ptr<NSOperation>> NSOperation::dependencies() const {
  const UnfairLockGuard guard(lock_);
  return dependencies_;
}

void NSOperation::setQueuePriority(NSOperationQueuePriority priority) {
  {
    const ChangeNotice notice(*this, "queuePriority");
    queuePriority_ = priority;
  }
  if (const auto queue = owner()) queue->operationHasOtherPriority(*this);
}

std::optional<std::string> NSOperation::name() const {
  const UnfairLockGuard guard(lock_);
  return name_;
}

void NSOperation::setName(std::optional<std::string> name) {
  const ChangeNotice notice(*this, "name");
  const UnfairLockGuard guard(lock_);
  name_.swap(name);
}

void NSOperation::setCompletionBlock(std::function<void()> block) {
  const UnfairLockGuard guard(lock_);
  if (!hasEnded_) completionBlock_.swap(block);  // what was there goes after the lock
}

std::function<void()> NSOperation::completionBlock() const {
  const UnfairLockGuard guard(lock_);
  return completionBlock_;
}

void NSOperation::waitUntilFinished() {
  if (isFinished()) return;
  Waiter self;
  {
    const UnfairLockGuard guard(lock_);
    if (hasEnded_) return;
    self.next = std::exchange(waiters_, &self);
  }
  const detail::ThreadIsBlocked blocked;
  self.end.await();
}

}  // namespace QVFoundation
