#include "QVFoundation/platform/concurrency/NSOperation.h"

#include <algorithm>
#include <iterator>
#include <unordered_set>
#include <utility>

#include "QVFoundation/platform/concurrency/Mutex.h"
#include "QVFoundation/platform/concurrency/ThreadPool_p.h"
#include "QVFoundation/platform/concurrency/WakeUp_p.h"
#include "QVFoundation/platform/runtime/ChangeNotice.h"
#include "QVFoundation/platform/runtime/EscapedException_p.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {

namespace {

// Whoever changes what operations wait for, in whatever place, holds it: so no two make a circle together.
// Taken before the lock of any operation.
constinit Mutex dependencyLock;

[[noreturn]] void refuse(const NSOperation& operation, const char* why) {
  throw NSException(NSInvalidArgumentException, operation.shortDescription() + ' ' + why);
}

}  // namespace

/// What most operations do without: what they wait for, what waits for them, and what somebody has set.
struct NSOperation::Extras {
  std::vector<std::shared_ptr<NSOperation>> dependencies;
  std::unordered_set<const NSOperation*> known;  // the same
  std::vector<std::weak_ptr<NSOperation>> dependents;
  std::optional<std::optional<std::string>> name;
  std::shared_ptr<const std::function<void()>> completionBlock;
};

NSOperation::EndListener::~EndListener() = default;

/// A thread that waits for the end.
class NSOperation::Waiter final : public EndListener {
public:
  void await() noexcept { end_.await(); }

private:
  void noteEnd() noexcept override { end_.send(); }
  detail::WakeUp end_;
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
  if (extras_ == nullptr) return;
  auto released = std::move(extras_->dependencies);
  while (!released.empty()) {
    const auto last = std::move(released.back());
    released.pop_back();
    if (last.use_count() > 1) continue;
    const UnfairLockGuard guard(last->lock_);
    if (last->extras_ == nullptr) continue;
    std::ranges::move(last->extras_->dependencies, std::back_inserter(released));
    last->extras_->dependencies.clear();
  }
}

// An observer may let go of the operation while it is told.

void NSOperation::start() {
  const auto self = weak_from_this().lock();
  if (!beginStart()) return;
  if (!isCancelled()) {
    {
      const ChangeNotice executing(*this, "isExecuting");
      state_.store(State::executing, std::memory_order_release);
    }
    runMain();
    const ChangeNotice finished(*this, "isFinished");
    const ChangeNotice executing(*this, "isExecuting");  // told first
    state_.store(State::finished, std::memory_order_release);
  } else {
    const ChangeNotice finished(*this, "isFinished");
    state_.store(State::finished, std::memory_order_release);
  }
}

bool NSOperation::beginStart() {
  if (isFinished()) return false;
  if (!isReady()) refuse(*this, "cannot start: it depends on operations that have not finished");
  if (hasBegun_.exchange(true, std::memory_order_acq_rel)) refuse(*this, "has been started already");
  return true;
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
  if (isBeingCancelled_.exchange(true)) {
    isCancelled_.store(true, std::memory_order_release);  // also for who comes second; the first one tells
    return;
  }
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
  std::vector<std::weak_ptr<NSOperation>> dependents;
  std::shared_ptr<const std::function<void()>> completionBlock;
  detail::OperationOwner* owner = nullptr;
  EndListener* listener = nullptr;
  bool hasDependencies = false;
  {
    const UnfairLockGuard guard(lock_);
    if (std::exchange(hasEnded_, true)) return;
    owner = std::exchange(owner_, nullptr);
    listener = std::exchange(listeners_, nullptr);
    if (extras_ != nullptr) {
      completionBlock.swap(extras_->completionBlock);
      dependents.swap(extras_->dependents);
      hasDependencies = !extras_->dependencies.empty();
    }
  }
  const auto self = hasDependencies || completionBlock != nullptr ? weak_from_this().lock() : nullptr;
  while (listener != nullptr) std::exchange(listener, listener->next_)->noteEnd();
  for (const auto& dependent : dependents) {
    if (const auto present = dependent.lock()) present->noteDependencyEnded();
  }
  if (owner != nullptr) owner->operationHasFinished(*this);
  if (hasDependencies) forgetDependencies();
  if (completionBlock != nullptr) run(*completionBlock);
}

void NSOperation::forgetDependencies() noexcept {
  std::vector<std::shared_ptr<NSOperation>> dependencies;  // go after the lock
  const ChangeNotice notice(*this, "dependencies");
  const UnfairLockGuard guard(lock_);
  dependencies.swap(extras_->dependencies);
  extras_->known.clear();
}

void NSOperation::run(const std::function<void()>& completionBlock) const noexcept {
  try {
    completionBlock();
  } catch (...) {
    detail::endForEscapedException("The completion block of " + shortDescription());
  }
}

void NSOperation::addDependency(const std::shared_ptr<NSOperation>& operation) {
  if (operation == nullptr) refuse(*this, "cannot depend on nothing");
  if (weak_from_this().expired()) refuse(*this, "depends on others only where a std::shared_ptr holds it");
  if (hasStarted()) refuse(*this, "has been started already, so it cannot wait any more");
  std::vector<std::shared_ptr<NSOperation>> lookedAt;  // go after the lock
  bool isCircle = operation.get() == this;
  if (!isCircle) {
    const ChangeNotice dependencies(*this, "dependencies");
    const ChangeNotice ready(*this, "isReady");
    const MutexLock guard(dependencyLock);
    isCircle = hasDependents() && operation->waitsFor(*this, lookedAt);
    if (!isCircle) depend(operation);
  }
  if (!isCircle) return;
  refuse(*this, ("cannot wait for " + operation->shortDescription() + ", which waits for it").c_str());
}

void NSOperation::depend(const std::shared_ptr<NSOperation>& operation) {
  {
    const UnfairLockGuard guard(lock_);
    Extras& its = extras();
    if (!its.known.insert(operation.get()).second) return;
    its.dependencies.push_back(operation);
  }
  ++unfinished_;  // before it can end
  if (!operation->addDependent(*this)) --unfinished_;
}

void NSOperation::removeDependency(const NSOperation& operation) {
  const auto self = weak_from_this().lock();
  std::shared_ptr<NSOperation> removed;
  bool wasWaitedFor = false;
  {
    const ChangeNotice dependencies(*this, "dependencies");
    const MutexLock guard(dependencyLock);
    removed = takeDependency(operation);
    wasWaitedFor = removed != nullptr && removed->removeDependent(*this);
  }
  if (wasWaitedFor) noteDependencyEnded();
}

std::shared_ptr<NSOperation> NSOperation::takeDependency(const NSOperation& operation) {
  const UnfairLockGuard guard(lock_);
  if (extras_ == nullptr || extras_->known.erase(&operation) == 0) return nullptr;
  auto& all = extras_->dependencies;
  const auto found = std::ranges::find(all, &operation, &std::shared_ptr<NSOperation>::get);
  auto taken = std::move(*found);
  all.erase(found);
  return taken;
}

bool NSOperation::addDependent(NSOperation& operation) {
  const UnfairLockGuard guard(lock_);
  if (hasEnded_) return false;
  extras().dependents.push_back(std::static_pointer_cast<NSOperation>(operation.shared_from_this()));
  return true;
}

bool NSOperation::removeDependent(const NSOperation& operation) {
  const auto its = operation.weak_from_this();
  const UnfairLockGuard guard(lock_);
  if (extras_ == nullptr) return false;
  return std::erase_if(extras_->dependents, [&](const auto& dependent) {
           return !dependent.owner_before(its) && !its.owner_before(dependent);
         }) > 0;
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

NSOperation::Extras& NSOperation::extras() {
  if (extras_ == nullptr) extras_ = std::make_unique<Extras>();
  return *extras_;
}

std::shared_ptr<detail::OperationOwner> NSOperation::owner() const {
  const UnfairLockGuard guard(lock_);
  return owner_ != nullptr ? owner_->kept() : nullptr;
}

bool NSOperation::join(detail::OperationOwner& owner) {
  if (hasStarted()) return false;
  const UnfairLockGuard guard(lock_);
  if (owner_ != nullptr || hasEnded_) return false;
  owner_ = &owner;
  return true;
}

void NSOperation::leave() {
  const UnfairLockGuard guard(lock_);
  owner_ = nullptr;
}

bool NSOperation::hasStarted() const { return hasBegun_ || isExecuting() || isFinished(); }

void NSOperation::refuseIfTaken() const {
  if (hasStarted()) refuse(*this, "has been started already");
  if (owner() != nullptr) refuse(*this, "is on a queue already");
}

bool NSOperation::hasDependents() const {
  const UnfairLockGuard guard(lock_);
  return extras_ != nullptr && !extras_->dependents.empty();
}

bool NSOperation::waitsFor(const NSOperation& other,
                           std::vector<std::shared_ptr<NSOperation>>& lookedAt) const {
  std::unordered_set<const NSOperation*> seen;
  lookedAt = awaited();
  for (std::size_t i = 0; i < lookedAt.size(); ++i) {
    const NSOperation* const operation = lookedAt[i].get();
    if (operation == &other) return true;
    if (!seen.insert(operation).second) continue;
    const auto further = operation->awaited();
    lookedAt.insert(lookedAt.end(), further.begin(), further.end());
  }
  return false;
}

std::vector<std::shared_ptr<NSOperation>> NSOperation::awaited() const {
  const UnfairLockGuard guard(lock_);
  if (hasEnded_ || extras_ == nullptr) return {};
  return extras_->dependencies;
}

std::vector<std::shared_ptr<NSOperation>> NSOperation::dependencies() const {
  const UnfairLockGuard guard(lock_);
  if (extras_ == nullptr) return {};
  return extras_->dependencies;
}

void NSOperation::setQueuePriority(NSOperationQueuePriority priority) {
  {
    const ChangeNotice notice(*this, "queuePriority");
    if (const auto queue = owner()) queue->operationWillHaveOtherPriority();
    queuePriority_ = priority;
  }
  if (const auto queue = owner()) queue->operationHasOtherPriority(*this);
}

std::optional<std::string> NSOperation::name() const {
  {
    const UnfairLockGuard guard(lock_);
    if (extras_ != nullptr && extras_->name) return *extras_->name;
  }
  return nameUnlessSet();
}

std::optional<std::string> NSOperation::nameUnlessSet() const { return {}; }

void NSOperation::setName(std::optional<std::string> name) {
  const ChangeNotice notice(*this, "name");
  const UnfairLockGuard guard(lock_);
  extras().name = std::move(name);
}

void NSOperation::setCompletionBlock(std::function<void()> block) {
  auto its = block ? std::make_shared<const std::function<void()>>(std::move(block)) : nullptr;
  const UnfairLockGuard guard(lock_);
  if (hasEnded_ || (its == nullptr && extras_ == nullptr)) return;
  extras().completionBlock.swap(its);  // what was there goes after the lock
}

std::function<void()> NSOperation::completionBlock() const {
  std::shared_ptr<const std::function<void()>> its;
  {
    const UnfairLockGuard guard(lock_);
    if (extras_ != nullptr) its = extras_->completionBlock;
  }
  return its != nullptr ? *its : nullptr;
}

void NSOperation::waitUntilFinished() {
  Waiter self;
  if (!addEndListener(self)) return;
  const detail::ThreadIsBlocked blocked;
  self.await();
}

bool NSOperation::addEndListener(EndListener& listener) {
  const UnfairLockGuard guard(lock_);
  if (hasEnded_) return false;
  listener.next_ = std::exchange(listeners_, &listener);
  return true;
}

bool NSOperation::removeEndListener(EndListener& listener) noexcept {
  const UnfairLockGuard guard(lock_);
  EndListener** its = &listeners_;
  while (*its != nullptr && *its != &listener) its = &(*its)->next_;
  if (*its == nullptr) return false;
  *its = listener.next_;
  return true;
}

}  // namespace QVFoundation
