#include "QVFoundation/operations/QVProcessOperation.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <exception>
#include <span>
#include <string>
#include <system_error>
#include <utility>

#include "QVFoundation/errors/QVErrorConstructors.h"
#include "QVFoundation/operations/QVProcessDataCollector.h"
#include "QVFoundation/operations/QVProcessStreamCollector.h"
#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/concurrency/MainQueue.h"
#include "QVFoundation/platform/concurrency/QuietThread_p.h"
#include "QVFoundation/platform/concurrency/TaskCancellation.h"
#include "QVFoundation/platform/concurrency/ThreadPool_p.h"
#include "QVFoundation/platform/concurrency/WakeUp_p.h"
#include "QVFoundation/platform/processes/ChildProcess_p.h"
#include "QVFoundation/platform/processes/PollUntil_p.h"
#include "QVFoundation/platform/processes/WakeDescriptor_p.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {

namespace {

/// For a program that has been asked to end.
constexpr std::chrono::milliseconds timeAfterRequest(100);
/// For one that nobody could ask, since it was cancelled before its launch: most end by themselves.
constexpr std::chrono::seconds timeAfterLaunch(1);

/// Of the library's own. All others are the application's, whose calls may take long.
bool isCollector(const QVProcessIOHandle& handle) {
  return dynamic_cast<const QVProcessStreamCollector*>(&handle) != nullptr ||
         dynamic_cast<const QVProcessDataCollector*>(&handle) != nullptr;
}

/// Whether reading runs code of the application.
bool mayTakeLong(const QVProcessIOHandle& handle) {
  const auto* const stream = dynamic_cast<const QVProcessStreamCollector*>(&handle);
  return stream == nullptr ? !isCollector(handle) : stream->handsOverLines();
}

}  // namespace

const NSClass& QVProcessOperation::staticClass() {
  static const NSClass& cls =
      *new NSClass(NSClass::define<QVProcessOperation>("QVProcessOperation", QVOperation::staticClass())
                       .readOnly("process", &QVProcessOperation::process));
  return cls;
}

QVProcessOperation::QVProcessOperation(std::string launchPath, std::vector<std::string> arguments,
                                       std::optional<std::string> currentDirectoryPath,
                                       QVAnyProcessIOHandle outputHandle,
                                       const QVAnyProcessIOHandle& inputHandle)
    : QVOperation("QVProcessOperation"),
      process_(std::make_shared<NSTask>()),
      outputHandle_(outputHandle.get()),
      wakeUp_(std::make_unique<detail::WakeDescriptor>()) {
  process_->setLaunchPath(std::move(launchPath));
  process_->setArguments(std::move(arguments));
  if (currentDirectoryPath) process_->setCurrentDirectoryPath(std::move(currentDirectoryPath));
  if (outputHandle_ != nullptr) process_->setStandardOutput(outputHandle_->handle());
  if (inputHandle.get() == nullptr) return;
  if (isCollector(*inputHandle.get())) {  // the program would wait for ever for what nobody writes
    throw NSException(NSInvalidArgumentException,
                      "A collector takes what a program writes: it cannot be its input");
  }
  process_->setStandardInput(inputHandle.get()->handle());
}

QVProcessOperation::~QVProcessOperation() = default;

std::shared_ptr<QVProcessIOHandle> QVProcessOperation::errorHandle() const {
  const UnfairLockGuard guard(settingsLock_);
  return errorHandle_;
}

void QVProcessOperation::setErrorHandle(const QVAnyProcessIOHandle& handle) {
  process_->setStandardError(handle.get() == nullptr ? NSTaskStream() : handle.get()->handle());
  auto kept = handle.get();
  const UnfairLockGuard guard(settingsLock_);
  errorHandle_.swap(kept);  // what was there goes after the lock
}

std::optional<std::chrono::nanoseconds> QVProcessOperation::gracePeriod() const {
  const UnfairLockGuard guard(settingsLock_);
  return gracePeriod_;
}

void QVProcessOperation::setGracePeriod(std::optional<std::chrono::nanoseconds> period) {
  const UnfairLockGuard guard(settingsLock_);
  gracePeriod_ = period;
}

// The run

/// The program of a run. The run's thread waits for it, or leaves it to the watch while it is busy with what
/// may take long. A leader is reaped at the end of the run: until then its number stands for its group.
class QVProcessOperation::Child {
public:
  explicit Child(NSTask& process) {
    std::optional<NSError> error;
    if (!detail::TaskAccess::launch(process, waiting_, &error)) throw NSError(*error);
    child_ = detail::TaskAccess::childOf(process);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() {
    leaveToWatch();
    child_->letGo();
  }

  [[nodiscard]] bool hasEnded() const noexcept { return hasEnded_; }
  void leaveToWatch() { waiting_.reset(); }
  /// Sleeps until one of the descriptors is ready, whose first becomes the child's while it runs.
  void poll(std::span<pollfd> requests) {
    if (hasEnded_) {
      detail::pollUntil(requests, {});
      return;
    }
    if (!waiting_) waiting_.emplace(child_);
    requests[0].fd = waiting_->descriptor();
    if (requests[0].fd >= 0) detail::pollUntil(requests, {});
    hasEnded_ = requests[0].fd < 0 || (requests[0].revents != 0 && child_->termination());
  }

private:
  std::shared_ptr<detail::ChildProcess> child_;
  std::optional<detail::ChildProcess::Waiting> waiting_;
  bool hasEnded_ = false;
};

/// Sees to it that a program ends that is to end, while its output is being read.
class QVProcessOperation::Ending {
public:
  Ending(const QVProcessOperation& operation, bool isToEnd) {
    if (!isToEnd) return;
    if (!operation.endsProcessGroup() && operation.process_->termination()) {
      operation.stopReading();
      return;
    }
    const auto end = [&operation] {
      operation.endProgram();
      operation.stopReading();
    };
    try {
      detail::startQuietThread("QV process end", [this, end] {
        end();
        hasEnded_.send();
      });
      isAwaited_ = true;
    } catch (const std::system_error&) {
      end();  // then its output is read afterwards
    }
  }
  Ending(const Ending&) = delete;
  Ending& operator=(const Ending&) = delete;
  ~Ending() {
    if (!isAwaited_) return;
    const detail::ThreadIsBlocked blocked;
    hasEnded_.await();
  }

private:
  detail::WakeUp hasEnded_;
  bool isAwaited_ = false;
};

void QVProcessOperation::perform() {
  wakeUp_->open();
  const bool wasCancelledBefore = isCancelled();
  Child child(*process_);
  try {
    if (!wasCancelledBefore) serveUntilEndOrCancelled(child);
    child.leaveToWatch();
    const bool isToEnd = this->isToEnd();
    {
      const Ending ending(*this, isToEnd);
      drain();
    }
    if (!isToEnd && this->isToEnd()) endProgram();  // that is, what is left of its group
  } catch (...) {
    askToEnd();
    endProgram();
    throw;
  }
  throwUnlessSuccessful();
}

// Also after the program's end, since others may still write to both pipes: who waited for the end of one
// would keep them from the other.
void QVProcessOperation::serveUntilEndOrCancelled(Child& child) {
  const std::array served{outputHandle_, errorHandle()};
  const auto descriptorOf = [](const auto& handle) { return handle == nullptr ? -1 : handle->descriptor(); };
  const auto readable = [](int descriptor) {
    return pollfd{.fd = descriptor, .events = POLLIN, .revents = 0};
  };
  const int mainQueue = isMainThread() ? mainQueueFileDescriptor() : -1;
  const bool asksOthers = std::ranges::any_of(
      served, [](const auto& handle) { return handle != nullptr && !isCollector(*handle); });
  while (!isCancelled()) {
    if (asksOthers) child.leaveToWatch();
    std::array requests{readable(-1), readable(descriptorOf(served[0])), readable(descriptorOf(served[1])),
                        readable(mainQueue), readable(wakeUp_->number())};
    if (child.hasEnded() && requests[1].fd < 0 && requests[2].fd < 0) return;
    child.poll(requests);
    for (const std::size_t i : {0UL, 1UL}) {
      if (served.at(i) == nullptr || requests.at(i + 1).revents == 0) continue;
      if (mayTakeLong(*served.at(i))) child.leaveToWatch();
      served.at(i)->readAvailable();
    }
    if (requests[3].revents != 0) {
      child.leaveToWatch();
      drainMainQueue();
    }
  }
  if (!wasAsked_) askToEnd();  // it was launched while the operation was being cancelled
}

void QVProcessOperation::drain() const {
  if (outputHandle_ != nullptr) outputHandle_->readToEndSync();
  if (const auto handle = errorHandle()) handle->readToEndSync();
}

void QVProcessOperation::throwUnlessSuccessful() const {
  process_->waitUntilExit();
  const int status = process_->terminationStatus();
  if (status == 0) return;
  throw NSError(errorWithDomain(NSPOSIXErrorDomain, status,
                                "Process " + process_->launchPath().value_or("nil") +
                                    " terminated with error code " + std::to_string(status),
                                {}));
}

Task<> QVProcessOperation::runAsync() {
  const auto self = shared_from_this();
  co_await withTaskCancellationHandler([this] { return startOnGlobalQueue(); }, [this] { cancel(); });
}

Task<> QVProcessOperation::startOnGlobalQueue() {
  if (!isFinished()) {
    refuseIfTaken();
    co_await DispatchQueue::global();
    co_await untilEnded([this] { start(); });
    throwIfKeptFromRunning(*this);
  }
  (void)result().value();
}

// Its end

void QVProcessOperation::cancel() {
  const auto self = weak_from_this().lock();
  askToEnd();
  QVOperation::cancel();
  wakeUp_->wake();
  if (process_->termination()) stopReading();  // others may hold its pipes open
}

// Said before it is done: the program may end at once, and the run would leave the others of its group alone.
void QVProcessOperation::askToEnd() {
  const auto child = detail::TaskAccess::childOf(*process_);
  if (child == nullptr) return;
  wasAsked_ = true;
  if (!child->send(SIGTERM)) child->sendToGroup(SIGTERM);
}

// It is asked a moment before it is cancelled.
bool QVProcessOperation::isToEnd() const { return wasAsked_ || isCancelled(); }

void QVProcessOperation::endProgram() const {
  const auto child = detail::TaskAccess::childOf(*process_);
  const bool hasEnded = child->await(wasAsked_ ? timeAfterRequest : timeAfterLaunch);
  if (hasEnded && !child->leadsGroup()) return;
  if (!hasEnded) child->send(SIGTERM);
  if (hasEnded && !wasAsked_) child->sendToGroup(SIGTERM);
  if (!child->awaitGroup(gracePeriod())) child->send(SIGKILL);
  child->sendToGroup(SIGKILL);  // also whom it has missed
  child->await({});
}

void QVProcessOperation::stopReading() const {
  for (const auto& handle : {outputHandle_, errorHandle()}) {
    if (handle != nullptr) handle->stopReading();
  }
}

}  // namespace QVFoundation
