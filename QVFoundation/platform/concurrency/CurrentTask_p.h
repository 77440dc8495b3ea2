#pragma once

namespace QVFoundation::detail {

struct TaskStretch;

/// While it exists, the calling thread runs no task: what it does is none of the one that it has been called
/// from.
///
/// Threads: belongs to the thread that made it.
class NoTask {
public:
  [[nodiscard]] NoTask() noexcept;
  NoTask(const NoTask&) = delete;
  NoTask& operator=(const NoTask&) = delete;
  ~NoTask();

private:
  TaskStretch* const outer_;
};

}  // namespace QVFoundation::detail
