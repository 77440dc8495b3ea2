#include "QVFoundation/platform/concurrency/NSOperationQueue.h"

#include <utility>

#include "QVFoundation/platform/concurrency/NSBlockOperation.h"
#include "QVFoundation/platform/concurrency/OperationQueueCore_p.h"
#include "QVFoundation/platform/runtime/ChangeNotice.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {

using detail::OperationQueueCore;

const NSClass& NSOperationQueue::staticClass() {
  static const NSClass& cls = *new NSClass(
      NSClass::define<NSOperationQueue>("NSOperationQueue", NSObject::staticClass())
          .readOnly("operations", &NSOperationQueue::operations)
          .readOnly("operationCount", &NSOperationQueue::operationCount)
          .property("maxConcurrentOperationCount", &NSOperationQueue::maxConcurrentOperationCount,
                    &NSOperationQueue::setMaxConcurrentOperationCount)
          .property("isSuspended", &NSOperationQueue::isSuspended, &NSOperationQueue::setSuspended)
          .property("name", &NSOperationQueue::name, &NSOperationQueue::setName));
  return cls;
}

NSOperationQueue::NSOperationQueue() : NSOperationQueue(Target::background) {}

NSOperationQueue::NSOperationQueue(Target target)
    : core_(std::make_shared<OperationQueueCore>(
          *this, target == Target::mainThread ? DispatchQueue::main() : nullptr)) {
  if (target == Target::mainThread) core_->setMaxConcurrent(1);
}

// Nobody could have the rest start any more.
NSOperationQueue::~NSOperationQueue() {
  core_->withdrawFront();
  if (core_->maxConcurrent() == 0) core_->setMaxConcurrent(1);
  core_->setSuspended(false);
}

const std::shared_ptr<NSOperationQueue>& NSOperationQueue::mainQueue() {
  static const auto& queue = *new std::shared_ptr<NSOperationQueue>(new NSOperationQueue(Target::mainThread));
  return queue;
}

void NSOperationQueue::add(const std::shared_ptr<NSOperation>& operation, bool isBarrier) {
  if (operation == nullptr) {
    throw NSException(NSInvalidArgumentException, "There is no operation to add to " + shortDescription());
  }
  if (core_->add(*this, operation, isBarrier)) return;
  throw NSException(NSInvalidArgumentException,
                    operation->shortDescription() + " is on a queue already, or has been started");
}

void NSOperationQueue::addOperation(const std::shared_ptr<NSOperation>& operation) { add(operation, false); }

void NSOperationQueue::addOperations(const std::vector<std::shared_ptr<NSOperation>>& operations,
                                     WaitUntilFinished waitUntilFinished) {
  for (const auto& operation : operations) addOperation(operation);
  if (waitUntilFinished == WaitUntilFinished::no) return;
  for (const auto& operation : operations) operation->waitUntilFinished();
}

void NSOperationQueue::addOperationWithBlock(std::function<void()> block) {
  add(std::make_shared<NSBlockOperation>(std::move(block)), false);
}

void NSOperationQueue::addBarrierBlock(std::function<void()> block) {
  add(std::make_shared<NSBlockOperation>(std::move(block)), true);
}

std::vector<std::shared_ptr<NSOperation>> NSOperationQueue::operations() const { return core_->operations(); }
std::size_t NSOperationQueue::operationCount() const { return core_->count(); }
int NSOperationQueue::maxConcurrentOperationCount() const { return core_->maxConcurrent(); }
bool NSOperationQueue::isSuspended() const { return core_->isSuspended(); }
QualityOfService NSOperationQueue::qualityOfService() const { return core_->qualityOfService(); }

void NSOperationQueue::setMaxConcurrentOperationCount(int count) {
  const ChangeNotice notice(*this, "maxConcurrentOperationCount");
  core_->setMaxConcurrent(count);
}

void NSOperationQueue::setSuspended(bool suspended) {
  const ChangeNotice notice(*this, "isSuspended");
  core_->setSuspended(suspended);
}

void NSOperationQueue::setQualityOfService(QualityOfService qualityOfService) {
  core_->setQualityOfService(qualityOfService);
}

std::optional<std::string> NSOperationQueue::name() const { return core_->name(); }

void NSOperationQueue::setName(std::optional<std::string> name) {
  const ChangeNotice notice(*this, "name");
  core_->setName(std::move(name));
}

// NOLINTNEXTLINE(readability-make-member-function-const): its operations are part of a queue's state
void NSOperationQueue::cancelAllOperations() {
  for (const auto& operation : operations()) operation->cancel();
}

void NSOperationQueue::waitUntilAllOperationsAreFinished() { core_->awaitAll(); }

}  // namespace QVFoundation
