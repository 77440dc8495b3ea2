#pragma once

#include <chrono>
#include <string>

#include "QVFoundation/platform/concurrency/NSCondition.h"

namespace QVFoundation::detail {

/// A condition whose waits are made of short ones, between which no signal is lost.
///
/// Threads: any.
class NamedCondition {
public:
  explicit NamedCondition(std::string name) { condition_.setName(std::move(name)); }

  /// Wakes one wait. Where none is on its way the signal is lost.
  void signal();
  /// Wakes all that are on their way.
  void broadcast();

  /// A wait, from its beginning to its end.
  ///
  /// Threads: belongs to the thread that made it.
  class [[nodiscard]] Wait {
  public:
    explicit Wait(NamedCondition& condition);
    Wait(const Wait&) = delete;
    Wait& operator=(const Wait&) = delete;
    ~Wait();
    /// Waits for a while; true where a signal has come, now or since the last time.
    [[nodiscard]] bool isSignalledWithin(std::chrono::nanoseconds patience);

  private:
    NamedCondition& condition_;
  };

private:
  NSCondition condition_;
  int waits_ QV_GUARDED_BY(condition_) = 0;
  int missed_ QV_GUARDED_BY(condition_) =
      0;  // signals that came while no wait was listening; never more than waits
};

}  // namespace QVFoundation::detail
