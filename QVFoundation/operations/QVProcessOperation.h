#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "QVFoundation/operations/QVAnyProcessIOHandle.h"
#include "QVFoundation/operations/QVOperation.h"
#include "QVFoundation/operations/QVOperationProtocol.h"
#include "QVFoundation/operations/QVProcessIOHandle.h"
#include "QVFoundation/operations/QVTimingName.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/Task.h"
#include "QVFoundation/platform/concurrency/ThreadSafety.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"
#include "QVFoundation/platform/processes/NSTask.h"

namespace QVFoundation {

namespace detail {
class WakeDescriptor;
}

/// Runs a program to its end, and fails where its exit status is not 0.
///
/// ```cpp
/// const auto output = std::make_shared<QVProcessStreamCollector>();
/// const auto job = std::make_shared<QVProcessOperation>(
///     "/usr/bin/rsync", std::vector<std::string>{"-an", source, destination}, std::nullopt, output);
/// job->setErrorHandle(errors);
/// performSubOperation(job, verifying);   // or job->startInBackground()
/// use(output->text());
/// ```
///
/// It sleeps until the program ends, writes, or the operation is cancelled. Then what was written is read to
/// its end, and the status is looked at. Pausing does not stop the program: use `process()->suspend()`. On
/// the main thread it runs the blocks of the main queue meanwhile; those may take long, as may what handles
/// do.
///
/// | when cancelled | first | then | at last |
/// |---|---|---|---|
/// | before the launch | it is launched all the same, and has a second to end by itself | SIGTERM, and the grace period | SIGKILL |
/// | while it runs | SIGTERM at once, and a tenth of a second | SIGTERM again, and the grace period | SIGKILL |
/// | after its end | with `endsProcessGroup`, SIGTERM at once to who is left | the grace period | SIGKILL |
///
/// Each further `cancel` sends one more SIGTERM at once, and shortens nothing. Once the program has ended,
/// what is in its pipes is read. Nobody waits for others that hold them open, where the handle overrides
/// `stopReading`, as both collectors do.
///
/// With `endsProcessGroup` all this is for the group: it has ended when all have. Those who are left when the
/// grace period is over are killed, also where the program itself has long ended. For that its number is
/// kept: it is reaped when its output was read, not at its end.
///
/// A program that was cancelled fails by its status, mostly that of the signal, or it succeeds all the same;
/// the error 1002 does not come from here. Who wants that checks for cancellation after it.
///
/// Threads: as an operation; `cancel` on any, at any time. Settings are for the time before it runs.
/// Ownership: owns its task, and keeps the handles for output and errors.
/// Errors: the task's own where it cannot be launched. A status other than 0, or the number of the signal
/// that ended it, is the code of an error of `NSPOSIXErrorDomain`: "Process /bin/false terminated with error
/// code 1". The code is `NSTask::statusUnknown` (-1) where somebody else has reaped the program. What a
/// handle throws; then the program is ended as by cancelling. It runs once: a second run is an
/// `NSInvalidArgumentException`, as is a collector that is given as input.
class QV_EXPORT QVProcessOperation : public QVOperation, public QVSyncOperationProtocol<void> {
public:
  static const NSClass& staticClass();
  const NSClass& dynamicClass() const override { return staticClass(); }

  QVProcessOperation(std::string launchPath, std::vector<std::string> arguments,
                     std::optional<std::string> currentDirectoryPath = std::nullopt,
                     QVAnyProcessIOHandle outputHandle = {}, const QVAnyProcessIOHandle& inputHandle = {});
  /// There is nothing to run without a program.
  explicit QVProcessOperation(QVTimingName timingName) = delete;
  ~QVProcessOperation() override;

  /// What is run; its environment and the like may be set before.
  [[nodiscard]] const std::shared_ptr<NSTask>& process() const noexcept { return process_; }
  /// Null for none.
  [[nodiscard]] const std::shared_ptr<QVProcessIOHandle>& outputHandle() const noexcept {
    return outputHandle_;
  }
  [[nodiscard]] std::shared_ptr<QVProcessIOHandle> errorHandle() const;
  /// What becomes of the program's standard error; none for this process's own.
  void setErrorHandle(const QVAnyProcessIOHandle& handle);

  /// How long a program that is asked to end may go on, before it is killed; 5 seconds unless set. Nothing
  /// for ever: then a program, or one of its group, that ignores the request keeps the operation from ending.
  [[nodiscard]] std::optional<std::chrono::nanoseconds> gracePeriod() const;
  void setGracePeriod(std::optional<std::chrono::nanoseconds> period);
  /// Whether the program leads a process group of its own, and all of the group is asked, and killed. Who has
  /// left the group is not.
  [[nodiscard]] bool endsProcessGroup() const { return process_->startsProcessGroup(); }
  void setEndsProcessGroup(bool ends) { process_->setStartsProcessGroup(ends); }

  void perform() override;
  void cancel() override;
  /// Awaited, runs the operation on a global queue, and throws its error if it fails. Cancelling the task
  /// that awaits it cancels the operation.
  [[nodiscard]] Task<> runAsync();

private:
  class Child;
  class Ending;

  Task<> startOnGlobalQueue();
  void serveUntilEndOrCancelled(Child& child);
  void drain() const;
  void askToEnd();
  [[nodiscard]] bool isToEnd() const;
  void endProgram() const;
  void stopReading() const;
  void throwUnlessSuccessful() const;

  const std::shared_ptr<NSTask> process_;
  const std::shared_ptr<QVProcessIOHandle> outputHandle_;
  const std::unique_ptr<detail::WakeDescriptor> wakeUp_;
  std::atomic<bool> wasAsked_ = false;  // to end, since it was launched
  mutable UnfairLock settingsLock_;
  std::shared_ptr<QVProcessIOHandle> errorHandle_ QV_GUARDED_BY(settingsLock_);
  std::optional<std::chrono::nanoseconds> gracePeriod_ QV_GUARDED_BY(settingsLock_) = std::chrono::seconds(5);
};

}  // namespace QVFoundation
