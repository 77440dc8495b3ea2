#include "QVFoundation/operations/QVOperation.h"

#include <algorithm>
#include <string>
#include <utility>

#include "QVFoundation/operations/QVOperationState_p.h"
#include "QVFoundation/operations/QVProgressUtilities.h"
#include "QVFoundation/operations/QVStopInDebugger.h"
#include "QVFoundation/platform/concurrency/TaskCancellation.h"
#include "QVFoundation/platform/runtime/FatalError.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/text/Format.h"

namespace QVFoundation {

namespace {

std::string nameOf(const NSProgress& progress) { return name(progress).value_or("null"); }

}  // namespace

std::shared_ptr<NSProgress> QVOperation::segmentProgress(QVProgressSegmentName segment,
                                                         std::int64_t unitCount) {
  auto progress = std::make_shared<NSProgress>(std::max<std::int64_t>(unitCount, 1));
  QVFoundation::setName(*progress, "segment:" + segment.stringValue());
  return progress;
}

void QVOperation::setCost(std::int64_t cost, QVProgressSegmentName forSegment) {
  const UnfairLockGuard guard(lock_);
  segmentCosts_.insert_or_assign(forSegment, cost);
}

std::int64_t QVOperation::costOf(QVProgressSegmentName segment) const {
  const UnfairLockGuard guard(lock_);
  const auto found = segmentCosts_.find(segment);
  return found != segmentCosts_.end() ? found->second : 0;
}

void QVOperation::addUpSegmentCosts() {
  std::int64_t total = 0;
  bool isTooMuch = false;
  {
    const UnfairLockGuard guard(lock_);
    if (segmentCosts_.empty()) return;
    for (const auto& [segment, cost] : segmentCosts_) {
      isTooMuch = __builtin_add_overflow(total, cost, &total) || isTooMuch;
    }
  }
  if (isTooMuch) {
    fatalError("The costs of the segments of " + shortDescription() + " are more than can be counted");
  }
  progress()->setTotalUnitCount(total);
}

void QVOperation::reportIfNested(QVProgressSegmentName name) const {
  if (currentSegmentProgress() == nullptr) return;
  logErrorString("Tried to start new segment " + name.stringValue() + " while already in a segment");
  QVStopInDebugger();
}

QVOperation::Segment::Segment(QVOperation& operation, QVProgressSegmentName name,
                              std::shared_ptr<NSProgress> progress)
    : operation_(operation), name_(name), parent_(operation.progress()), progress_(std::move(progress)) {
  const std::int64_t cost = operation_.costOf(name_);
  if (childLog().isEnabled(OSLogType::debug)) {
    childLog().log(
        OSLogType::debug,
        stringWithFormat("Segment %@:%@ adding child with segment unit count %d, segment cost %d",
                         nameOf(*parent_), name_.stringValue(), progress_->totalUnitCount(), cost));
  }
  parent_->addChild(progress_, cost);
  operation_.logHierarchy();
  operation_.setCurrentSegmentProgress(progress_);
}

QVOperation::Segment::~Segment() {
  if (childLog().isEnabled(OSLogType::debug)) {
    childLog().log(OSLogType::debug,
                   stringWithFormat("Segment completed: %@:%@", nameOf(*parent_), name_.stringValue()));
  }
  progress_->setCompletedUnitCount(progress_->totalUnitCount());
  parent_->endChild(*progress_);  // where the block has left it without a size
  operation_.setCurrentSegmentProgress(nullptr);
}

void QVOperation::logHierarchy() const {
  if (!childLog().isEnabled(OSLogType::debug)) return;
  childLog().log(OSLogType::debug,
                 stringWithFormat("New progress hierarchy:\n%@",
                                  hierarchyDescriptionWithIndent(*rootProgress(*progress()), 0)));
}

// Sub-operations

std::shared_ptr<QVOperation> QVOperation::subOperation() const { return locked(&QVOperation::subOperation_); }

void QVOperation::setSubOperation(std::shared_ptr<QVOperation> operation) {
  const auto replaced = exchange(&QVOperation::subOperation_, operation);
  if (replaced != nullptr && !runs(replaced)) letGoOf(*replaced);
  if (operation != nullptr) join(*operation);
}

void QVOperation::join(QVOperation& part) {
  part.setLogger(logger());
  part.setSuperOperation(isBlocking() ? std::static_pointer_cast<QVOperation>(shared_from_this()) : nullptr);
}

// What has come to be a part of another one keeps what it has got there.
void QVOperation::letGoOf(QVOperation& part) const {
  if (const auto super = part.superOperation(); super != nullptr && super.get() != this) return;
  part.setLogger(nullptr);
  part.setSuperOperation(nullptr);
}

std::vector<std::shared_ptr<QVOperation>> QVOperation::allParts() const {
  std::vector<std::shared_ptr<QVOperation>> all;
  const UnfairLockGuard guard(lock_);
  all.reserve(parts_.size() + 1);
  for (const Part& part : parts_) all.push_back(part.operation);
  if (subOperation_ != nullptr && std::ranges::find(all, subOperation_) == all.end())
    all.push_back(subOperation_);
  return all;
}

bool QVOperation::runs(const std::shared_ptr<QVOperation>& part) const {
  const UnfairLockGuard guard(lock_);
  return std::ranges::find(parts_, part, &Part::operation) != parts_.end();
}

QVOperation::Part QVOperation::takePart(const std::shared_ptr<QVOperation>& operation) {
  const UnfairLockGuard guard(lock_);
  const auto found = std::ranges::find(parts_, operation, &Part::operation);
  if (found == parts_.end())
    return {.operation = operation, .lane = operation->timingInfo()->signpostLane(), .progress = nullptr};
  Part part = std::move(*found);
  parts_.erase(found);
  return part;
}

bool QVOperation::isBlocking() const { return dynamic_cast<const detail::SyncBody*>(this) != nullptr; }

std::shared_ptr<QVOperation> QVOperation::superOperation() const {
  return locked(&QVOperation::superOperation_).lock();
}

void QVOperation::setSuperOperation(const std::shared_ptr<QVOperation>& operation) {
  for (auto above = operation; above != nullptr; above = above->superOperation()) {
    if (above.get() != this) continue;
    throw NSException(NSInvalidArgumentException, shortDescription() + " cannot be a part of itself");
  }
  (void)exchange(&QVOperation::superOperation_, std::weak_ptr(operation));
}

std::shared_ptr<QVOperation> QVOperation::rootOperation() {
  auto root = std::static_pointer_cast<QVOperation>(shared_from_this());
  while (auto above = root->superOperation()) root = std::move(above);
  return root;
}

void QVOperation::refuseUnlessFree(const QVOperation* operation) const {
  const char* why = nullptr;
  if (operation == nullptr) why = " has no sub-operation to run";
  if (operation == this) why = " cannot be its own sub-operation";
  for (auto above = superOperation(); above != nullptr; above = above->superOperation()) {
    if (operation == above.get()) why = " cannot run an operation that it is a part of";
  }
  if (why == nullptr && operation->superOperation() != nullptr) {
    why = " cannot run a sub-operation that another operation runs";
  }
  if (why == nullptr && operation->hasStarted() && !operation->isFinished())
    why = " cannot run a sub-operation that runs already";
  if (why != nullptr) throw NSException(NSInvalidArgumentException, shortDescription() + why);
}

void QVOperation::runSubOperation(const std::shared_ptr<QVOperation>& operation, std::int64_t unitCount) {
  refuseUnlessFree(operation.get());
  try {
    setupSuboperation(operation, unitCount);
    executeSubOperation(operation);
  } catch (...) {
    teardownSuboperation(operation, unitCount);
    throw;
  }
  teardownSuboperation(operation, unitCount);
  throwIfKeptFromRunning(*operation);
}

// Such a one has no error that would say why.
void QVOperation::throwIfKeptFromRunning(const QVOperation& operation) {
  if ((hasToEnd() || currentTaskIsCancelled()) && !operation.locked(&QVOperation::resultStorage_))
    throw NSError(cancellationError());
}

void QVOperation::setupSuboperation(const std::shared_ptr<QVOperation>& operation,
                                    std::int64_t withUnitCount) {
  const auto timings = operation->timingInfo();
  {
    const UnfairLockGuard guard(lock_);
    parts_.push_back({.operation = operation, .lane = timings->signpostLane(), .progress = nullptr});
  }
  timings->setSignpostLane(timingInfo()->signpostLane());
  setSubOperation(operation);
  if (hasToEnd()) operation->cancel();
  if (locked(&QVOperation::wantsPause_)) spreadPause();
  if (withUnitCount <= 0) return;
  if (childLog().isEnabled(OSLogType::debug)) {
    childLog().log(OSLogType::debug,
                   stringWithFormat("Operation %@ adding suboperation %@ child with unit count %d",
                                    nameOrNull(), operation->nameOrNull(), withUnitCount));
  }
  const auto child = operation->progress();
  topLevelProgress()->addChild(child, withUnitCount);
  {
    const UnfairLockGuard guard(lock_);
    std::ranges::find(parts_, operation, &Part::operation)->progress = child;
  }
  logHierarchy();
}

void QVOperation::executeSubOperation(const std::shared_ptr<QVOperation>& operation) {
  static const auto& name = *new QVOperationConditionName("subOperation");
  performBlock(name, [&] {
    if (!operation->isBlocking()) {
      operation->setCompletionBlock([weak = weakSelf()] {
        if (const auto self = weak.lock()) self->signal(name);
      });
    }
    operation->start();
    if (!operation->isBlocking()) awaitSubOperation(*operation, name);
  });
}

void QVOperation::teardownSuboperation(const std::shared_ptr<QVOperation>& operation,
                                       std::int64_t withUnitCount) {
  if (withUnitCount > 0) {
    if (childLog().isEnabled(OSLogType::debug)) {
      childLog().log(OSLogType::debug, stringWithFormat("Operation %@ suboperation %@ complete", nameOrNull(),
                                                        operation->nameOrNull()));
    }
    logHierarchy();
  }
  const Part part = takePart(operation);
  if (part.progress != nullptr) {  // it has ended, whatever it has reported
    if (const auto parent = part.progress->parent()) parent->endChild(*part.progress);
  }
  const auto timings = operation->timingInfo();
  timingInfo()->addTimingInfo(*timings);
  timings->setSignpostLane(part.lane);
  hidePart(operation);
}

// Then the sub-operation is the one that has come last of those that still run.
void QVOperation::hidePart(const std::shared_ptr<QVOperation>& ended) {
  std::shared_ptr<QVOperation> shown = ended;
  {
    const UnfairLockGuard guard(lock_);
    if (parts_.empty() || subOperation_ == ended)
      shown = std::exchange(subOperation_, parts_.empty() ? nullptr : parts_.back().operation);
  }
  letGoOf(*ended);
  if (shown != nullptr && shown != ended) letGoOf(*shown);
}

}  // namespace QVFoundation
