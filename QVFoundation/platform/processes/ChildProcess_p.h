#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <sys/types.h>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/Mutex.h"
#include "QVFoundation/platform/concurrency/ThreadSafety.h"
#include "QVFoundation/platform/files/Descriptor_p.h"
#include "QVFoundation/platform/processes/NSTask.h"
#include "QVFoundation/platform/processes/PollUntil_p.h"

namespace QVFoundation::detail {

/// A child process, from its launch until its end is known, whatever becomes of the task that launched it.
///
/// Who waits for it waits for its descriptor, and reaps it. While nobody waits the descriptors' watch does.
/// So nobody is woken for nothing, and nothing is left unreaped.
///
/// The leader of a group may be kept: it is reaped only when it is let go. Until then nobody else gets its
/// number, which is the group's, and the others can be signalled though it has ended.
///
/// | | watched | waited for | ended |
/// |---|---|---|---|
/// | its descriptor | in the watch | polled by those who wait | closed, once nobody uses or keeps it |
/// | goes on | `Waiting`, or its end | the last `Waiting` ends, or its end | – |
///
/// Threads: any. It is reaped under its lock, and signalled under its lock only before that: so no signal
/// goes to another process, or group, that got the number.
class QV_TEST_EXPORT ChildProcess : public std::enable_shared_from_this<ChildProcess> {
public:
  using Termination = NSTask::Termination;
  using Handler = std::function<void(const Termination&)>;

  enum class Group {
    others,  ///< it is one among others
    own,     ///< it leads its own
    kept     ///< it leads its own, and is kept
  };

  /// Without a descriptor it is a child that has ended and that somebody else has reaped.
  ChildProcess(pid_t identifier, Descriptor process, Group group);
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess();

  // One of the two is to be called first.
  /// Where the watch cannot take the child (`std::system_error`), it is killed and reaped.
  void beginWatching();
  /// For one who is going to wait from the beginning on, with the first `Waiting`.
  void beginWaiting() noexcept;

  [[nodiscard]] pid_t identifier() const noexcept { return identifier_; }
  [[nodiscard]] bool leadsGroup() const noexcept { return group_ != Group::others; }
  /// Looks whether it has ended, and reaps it unless it is kept.
  [[nodiscard]] std::optional<Termination> termination();
  /// False where it has ended.
  bool send(int signal);
  /// Exchanges it for the one that is there. One that is due at once leaves an empty one.
  void exchangeHandler(Handler& handler);
  /// Has one more handler run on a global queue when the child has ended.
  void addHandler(Handler handler);
  /// False when the time is up.
  bool await(std::optional<std::chrono::nanoseconds> atMost);

  /// To all of its group, also when it has ended itself while it is kept. False where it leads none, or was
  /// reaped.
  bool sendToGroup(int signal);
  /// Waits for it, and where it is kept for all others of its group too. False when the time is up. One that
  /// is started at this moment may be missed.
  bool awaitGroup(std::optional<std::chrono::nanoseconds> atMost);
  /// It is not kept any more. Does nothing where it was not.
  void letGo();

  /// While it exists its thread answers for the child, which is not in the watch.
  class QV_TEST_EXPORT Waiting {
  public:
    explicit Waiting(std::shared_ptr<ChildProcess> child);
    /// Goes on with what `beginWaiting` has begun.
    static constexpr struct Begun {
    } begun{};
    Waiting(std::shared_ptr<ChildProcess> child, Begun /*unused*/) noexcept : child_(std::move(child)) {}
    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;
    ~Waiting();

    /// Can be read once the child has ended; -1 where it had before.
    [[nodiscard]] int descriptor() const;

  private:
    const std::shared_ptr<ChildProcess> child_;
  };

private:
  void watch() QV_REQUIRES(lock_);
  void watchAgain() QV_REQUIRES(lock_);
  void watchHasSeenIt();
  const std::optional<Termination>& look() QV_REQUIRES(lock_);
  bool awaitUntil(std::optional<SteadyTime> end);
  void runHandlersIfDue() QV_REQUIRES(lock_);
  void closeIfUnused() QV_REQUIRES(lock_);

  const pid_t identifier_;
  const Group group_;
  Mutex lock_;
  bool isKept_ QV_GUARDED_BY(lock_);
  Descriptor process_ QV_GUARDED_BY(lock_);
  std::optional<Termination> termination_ QV_GUARDED_BY(lock_);
  Handler handler_ QV_GUARDED_BY(lock_);
  std::vector<Handler> addedHandlers_ QV_GUARDED_BY(lock_);
  int waitingCount_ QV_GUARDED_BY(lock_) = 0;
  std::uint64_t watchToken_ QV_GUARDED_BY(lock_) = 0;  // 0 where it is not in the watch
};

/// The child of a task, for those who wait for it and for other things at once.
///
/// Threads: any.
struct TaskAccess {
  /// Null before the launch.
  [[nodiscard]] static std::shared_ptr<ChildProcess> childOf(const NSTask& task) { return task.child(); }
  /// As `launch`, but the caller waits for the child, with what it gets here. Where the child leads a group
  /// it is kept, until it is let go or destroyed.
  static bool launch(NSTask& task, std::optional<ChildProcess::Waiting>& waiting,
                     std::optional<NSError>* error) {
    if (!task.launch(true, error)) return false;
    waiting.emplace(task.child(), ChildProcess::Waiting::begun);
    return true;
  }
};

}  // namespace QVFoundation::detail
