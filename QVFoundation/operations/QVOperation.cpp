#include "QVFoundation/operations/QVOperation.h"

#include <utility>

#include "QVFoundation/errors/QVErrorConstructors.h"
#include "QVFoundation/operations/QVOperationState_p.h"
#include "QVFoundation/operations/QVProgressUtilities.h"
#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/concurrency/NSOperationQueue.h"
#include "QVFoundation/platform/runtime/ChangeNotice.h"
#include "QVFoundation/platform/runtime/EscapedException_p.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/runtime/TypeName.h"
#include "QVFoundation/platform/text/Format.h"
#include "QVFoundation/platform/tracing/SignpostDelivery_p.h"

namespace QVFoundation {

namespace {

using Seconds = std::chrono::duration<double>;

const std::shared_ptr<NSOperationQueue>& backgroundQueue() {
  static const auto& queue = *new auto(std::make_shared<NSOperationQueue>());
  return queue;
}

double secondsOfRun(const QVOperation& operation) { return operation.completionDuration().count(); }
void setSecondsOfRun(QVOperation& operation, double seconds) {
  operation.setCompletionDuration(Seconds(seconds));
}

}  // namespace

namespace detail {

OperationPart::~OperationPart() = default;
SyncBody::~SyncBody() = default;
AsyncBody::~AsyncBody() = default;

QVAnyResult OperationPart::storedResult() const {
  return dynamic_cast<const QVOperation&>(*this).resultStorage();
}

// The text has neither a comma nor an end of its bracket; it is known as it is.
NSError OperationPart::wrongTypeError(const QVAnyResult& result, const std::type_info& expected) const {
  const auto name = dynamic_cast<const QVOperation&>(*this).name();
  return errorWithDescription(
      stringWithFormat("Operation %@ returned incorrect result type (expected %@ got %@",
                       name.value_or("null"), dottedTypeName(expected), result.value()));
}

}  // namespace detail

const NSClass& QVOperation::staticClass() {
  static const NSClass& cls = *new NSClass(
      NSClass::define<QVOperation>("QVOperation", NSOperation::staticClass())
          .property("completionDuration", secondsOfRun, setSecondsOfRun)
          .property("logger", &QVOperation::logger, &QVOperation::setLogger)
          .property("logDebugMarker", &QVOperation::logDebugMarker, &QVOperation::setLogDebugMarker)
          .readOnly("observationManager", &QVOperation::observationManager)
          .property("currentSegmentProgress", &QVOperation::currentSegmentProgress,
                    &QVOperation::setCurrentSegmentProgress)
          .property("progress", &QVOperation::progress, &QVOperation::setProgress)
          .property("mainThreadProgress", &QVOperation::mainThreadProgress,
                    &QVOperation::setMainThreadProgress)
          .property("enableMainThreadProgress", &QVOperation::enableMainThreadProgress,
                    &QVOperation::setEnableMainThreadProgress)
          .property("isPaused", &QVOperation::isPaused, &QVOperation::setIsPaused)
          .readOnly("operationResult", &QVOperation::operationResult)
          .readOnly("operationError", &QVOperation::operationError));
  return cls;
}

QVOperation::QVOperation(QVTimingName timingName)
    : timingName_(timingName), pauseConditionLock_(detail::gateIsOpen) {}

QVOperation::~QVOperation() {
  if (timeoutSource_ != nullptr) timeoutSource_->cancel();
  if (observationManager_ != nullptr) observationManager_->removeAllObservers();
  if (mainThreadProgressMirror_ != nullptr) mainThreadProgressMirror_->invalidate();
}

std::weak_ptr<QVOperation> QVOperation::weakSelf() {
  return std::static_pointer_cast<QVOperation>(shared_from_this());
}

// A constructor does not know the most derived class.
std::optional<std::string> QVOperation::nameUnlessSet() const { return className(); }
std::string QVOperation::nameOrNull() const { return name().value_or("null"); }

// The result

QVAnyResult QVOperation::resultStorage() const {
  if (auto result = locked(&QVOperation::resultStorage_)) return *std::move(result);
  return QVAnyResult::failure(errorWithDescription(className() + " has not been run yet"));
}

void QVOperation::setResultStorage(QVAnyResult result) {
  const ChangeNotice value(*this, "operationResult");
  const ChangeNotice error(*this, "operationError");
  (void)exchange(&QVOperation::resultStorage_, std::optional(std::move(result)));
}

Value QVOperation::operationResult() const { return resultStorage().value(); }

std::optional<NSError> QVOperation::operationError() const {
  const QVAnyResult result = resultStorage();
  return result.hasValue() ? std::nullopt : std::optional(asNSError(result.exception()));
}

// Running

void QVOperation::startInBackground() {
  backgroundQueue()->addOperation(std::static_pointer_cast<NSOperation>(shared_from_this()));
}

void QVOperation::setMainThreadCompletionBlock(std::function<void()> block) {
  if (!block)
    throw NSException(NSInvalidArgumentException, "There is no block to run after " + shortDescription());
  setCompletionBlock([block = std::move(block), its = nameOrNull()]() mutable {
    DispatchQueue::main()->async([block = std::move(block), its = std::move(its)] {
      detail::callGuarded(block, "The completion handler of the operation " + its);
    });
  });
}

// That of a part is the whole's, which has named it.
void QVOperation::nameLane(const QVTimingInfo& timing) const {
  if (detail::signpostsMayBeWanted.load(std::memory_order_relaxed) && timing.hasLaneOfItsOwn())
    detail::nameSignpostLane(timing.signpostLane(), nameOrNull());
}

void QVOperation::main() {
  const auto timing = timingInfo();
  nameLane(*timing);
  const auto start = std::chrono::steady_clock::now();
  timing->startTiming(timingName_, start);
  try {
    run();
  } catch (const NSException& exception) {
    setResultStorage(QVAnyResult::failure(asNSError(exception)));
  } catch (...) {
    setResultStorage(QVAnyResult::failure(std::current_exception()));
  }
  const auto end = std::chrono::steady_clock::now();
  setCompletionDuration(end - start);
  timing->endTiming(timingName_, end);
}

void QVOperation::run() {
  mainSetup();
  if (auto* const body = dynamic_cast<detail::SyncBody*>(this)) {
    try {
      setResultStorage(body->performForAnyResult());
    } catch (const NSException&) {
      throw;  // ends the run here
    } catch (...) {
      setResultStorage(QVAnyResult::failure(std::current_exception()));
    }
  } else {
    setResultStorage(QVAnyResult::failure(errorWithDescription("QVOperation subclass " + className() +
                                                               " does not conform to QVOperationProtocol")));
  }
  mainFinish();
}

void QVOperation::mainSetup() {
  calculateSegmentCosts();
  addUpSegmentCosts();
  if (const OSLogger& log = progressLog(); log.isEnabled(OSLogType::debug)) {
    log.log(OSLogType::debug, stringWithFormat("Operation %@ starting with totalUnitCount %d", nameOrNull(),
                                               progress()->totalUnitCount()));
  }
  setUpProgress();
  if (!logDebugMarker_) return;
  if (const auto logger = this->logger()) logger->logDebugMarker(className());
}

// Shown as complete whatever the body has reported, also after a failure. One that nobody has asked for would
// show nothing.
void QVOperation::mainFinish() {
  logFinish();
  completeProgress();
}

void QVOperation::completeProgress() const {
  const auto progress = locked(&QVOperation::progress_);
  if (progress != nullptr) progress->setCompletedUnitCount(progress->totalUnitCount());
}

void QVOperation::logFinish() const {
  if (const OSLogger& log = progressLog(); log.isEnabled(OSLogType::debug)) {
    log.log(OSLogType::debug, stringWithFormat("Operation %@ finishing with completedUnitCount %d",
                                               nameOrNull(), progress()->completedUnitCount()));
  }
}

Seconds QVOperation::completionDuration() const noexcept { return Seconds(completionDuration_); }

void QVOperation::setCompletionDuration(Seconds duration) {
  const ChangeNotice notice(*this, "completionDuration");
  completionDuration_ = duration.count();
}

// What it has

std::shared_ptr<QVLogger> QVOperation::logger() const { return locked(&QVOperation::logger_); }

void QVOperation::setLogger(std::shared_ptr<QVLogger> logger) {
  const ChangeNotice notice(*this, "logger");
  (void)exchange(&QVOperation::logger_, std::move(logger));
}

void QVOperation::setLogDebugMarker(bool logs) {
  const ChangeNotice notice(*this, "logDebugMarker");
  logDebugMarker_ = logs;
}

std::shared_ptr<QVTimingInfo> QVOperation::timingInfo() const {
  const UnfairLockGuard guard(lock_);
  if (timingInfo_ == nullptr) timingInfo_ = std::make_shared<QVTimingInfo>();
  return timingInfo_;
}

void QVOperation::setTimingInfo(std::shared_ptr<QVTimingInfo> timingInfo) {
  (void)exchange(&QVOperation::timingInfo_, std::move(timingInfo));
}

std::shared_ptr<QVObservationManager> QVOperation::observationManager() const {
  const UnfairLockGuard guard(lock_);
  if (observationManager_ == nullptr) observationManager_ = std::make_shared<QVObservationManager>();
  return observationManager_;
}

}  // namespace QVFoundation
