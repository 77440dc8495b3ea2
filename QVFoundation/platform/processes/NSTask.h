#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/Task.h"
#include "QVFoundation/platform/concurrency/ThreadSafety.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"
#include "QVFoundation/platform/processes/NSTaskStream.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation {

namespace detail {
class ChildProcess;
struct TaskAccess;
struct TaskSettings;
}  // namespace detail

/// A program that runs as a child process.
///
/// ```cpp
/// const auto task = std::make_shared<NSTask>();
/// task->setLaunchPath("/usr/bin/rsync");
/// task->setArguments({"-a", source, destination});
/// std::optional<NSError> error;
/// if (!task->launch(&error)) throw *error;
/// task->waitUntilExit();
/// if (task->terminationStatus() != 0) ...
/// ```
///
/// The child gets its arguments, environment, working folder and three standard streams. Every other
/// descriptor is closed in it, no signal is ignored or blocked. As any child it inherits this process's user,
/// process group (unless it starts its own), session with its terminal, file mode mask and resource limits.
///
/// | state | setters | `launch` | signals | `waitUntilExit` | status and reason |
/// |---|---|---|---|---|---|
/// | new | set | runs; where it fails the task stays new, but its pipes have lost the child's ends | sent to nobody | raises | raise |
/// | running | raise | raises | sent | waits | raise |
/// | ended | raise | raises | sent to nobody | returns | given |
///
/// "Raises" is an `NSInvalidArgumentException`.
///
/// A child that has ended is reaped at once, whether anybody waits or not, and also where the task is gone.
/// It is found out by a descriptor of its own, so SIGCHLD stays the application's. Where somebody else has
/// reaped the child, or the application ignores SIGCHLD, the status is `statusUnknown`.
///
/// Threads: any. Who changes this process's environment or working folder must not do so while another thread
/// launches a task that inherits them.
/// Ownership: letting go of a task does not end the child. A task keeps the streams that it was given.
/// Errors: what keeps a program from being launched is an `NSError` of `NSPOSIXErrorDomain`, with the `errno`
/// as its code and a description that names what is missing or refused. A program that has begun is killed
/// again where there is no descriptor left for it, which the launch then fails for.
class QV_EXPORT NSTask : public NSObject {
public:
  using Stream = NSTaskStream;

  enum class TerminationReason {
    exit,           ///< the program returned or called `exit`
    uncaughtSignal  ///< a signal ended it
  };
  struct Termination {
    int status;  ///< what the program exited with, 0 to 255, or the number of the signal
    TerminationReason reason;
    friend bool operator==(const Termination&, const Termination&) = default;
  };
  /// The status where nobody can tell any more; the reason is `exit`.
  static constexpr int statusUnknown = -1;

  NSTask();
  ~NSTask() override;

  // What to run

  /// The program's file. It is not searched for in `PATH`, and a relative path is taken from this process's
  /// working folder, whatever the child's.
  [[nodiscard]] std::optional<std::string> launchPath() const;
  void setLaunchPath(std::optional<std::string> path);
  /// Without the program's name, which the launch path stands for.
  [[nodiscard]] std::vector<std::string> arguments() const;
  void setArguments(std::vector<std::string> arguments);
  /// The child's working folder; nothing for this process's.
  [[nodiscard]] std::optional<std::string> currentDirectoryPath() const;
  void setCurrentDirectoryPath(std::optional<std::string> path);
  /// All of the child's environment; nothing for this process's.
  [[nodiscard]] std::optional<std::map<std::string, std::string>> environment() const;
  void setEnvironment(std::optional<std::map<std::string, std::string>> environment);

  [[nodiscard]] Stream standardInput() const;
  void setStandardInput(Stream stream);
  [[nodiscard]] Stream standardOutput() const;
  void setStandardOutput(Stream stream);
  [[nodiscard]] Stream standardError() const;
  void setStandardError(Stream stream);

  /// Whether the child leads a process group of its own. Then signals go to all of the group, and a
  /// terminal's Ctrl-C does not reach it. By default it belongs to this process's group.
  [[nodiscard]] bool startsProcessGroup() const;
  void setStartsProcessGroup(bool starts);

  // Running

  /// Starts the program, and returns when it has begun, or cannot. Without a launch path it raises
  /// `NSInvalidArgumentException`.
  ///
  /// This process's copies of the child's ends of pipes are closed, whether it succeeds or not, so that who
  /// reads comes to the end.
  bool launch(std::optional<NSError>* error = nullptr);

  // Send a signal to the child, or to its process group where it leads one. False where there is nobody to
  // send to: before the launch, and once the child has ended. They never reach a stranger that got its
  // number.
  bool terminate();  ///< SIGTERM, the polite request
  bool interrupt();  ///< SIGINT, as a terminal's Ctrl-C
  bool kill();       ///< SIGKILL, which nobody can refuse
  bool suspend();    ///< SIGSTOP; a suspended child acts on polite requests once it is resumed
  bool resume();     ///< SIGCONT

  [[nodiscard]] bool isRunning() const;
  /// 0 before the launch. It stays when the child has ended, but may then be another's.
  [[nodiscard]] pid_t processIdentifier() const;

  /// Waits until the child has ended.
  void waitUntilExit() const;
  /// The same; false when the time is up. Any time of more than a century is for ever.
  [[nodiscard]] bool waitUntilExit(std::chrono::nanoseconds atMost) const;

  /// Awaited inside of a task, waits until the child has ended, without a thread; gives how. Cancelling the
  /// task that awaits it does nothing to the child, and does not end the wait.
  [[nodiscard]] Task<Termination> untilExit();

  [[nodiscard]] int terminationStatus() const;
  [[nodiscard]] TerminationReason terminationReason() const;
  /// Both, or nothing before the child has ended.
  [[nodiscard]] std::optional<Termination> termination() const;

  /// Runs a block once on a global queue when the child has ended; at once where it has ended already. It may
  /// be set before the launch. Another one takes the place of one that is not due yet; an empty one just
  /// removes it. It runs though the task be gone, and must not throw.
  void setTerminationHandler(std::function<void(const Termination&)> handler);

  [[nodiscard]] Dictionary debugDictionary() const override;

private:
  friend struct detail::TaskAccess;

  template <class Setting, class Given>
  void set(Setting detail::TaskSettings::* setting, Given value);
  template <class Setting>
  [[nodiscard]] Setting setting(Setting detail::TaskSettings::* setting) const;
  bool launch(bool launcherWaits, std::optional<NSError>* error);
  [[nodiscard]] detail::TaskSettings beginLaunch();
  void endLaunch(std::shared_ptr<detail::ChildProcess> child);
  bool send(int signal) const;
  [[nodiscard]] std::shared_ptr<detail::ChildProcess> child() const;
  [[nodiscard]] std::shared_ptr<detail::ChildProcess> launchedChild(const char* consequence) const;

  mutable UnfairLock lock_;
  const std::unique_ptr<detail::TaskSettings> settings_ QV_PT_GUARDED_BY(lock_);
  bool isLaunching_ QV_GUARDED_BY(lock_) = false;
  std::shared_ptr<detail::ChildProcess> child_ QV_GUARDED_BY(lock_);      // null before the launch
  std::function<void(const Termination&)> handler_ QV_GUARDED_BY(lock_);  // until then
};

}  // namespace QVFoundation
