#pragma once

#include <atomic>
#include <cstdint>
#include <exception>
#include <memory>
#include <utility>

#include "QVFoundation/platform/tracing/NSLog.h"

namespace QVFoundation::detail {

/// A sink in its place, and how many entries it has lost since it last took one.
///
/// Threads: any.
template <class Sink>
class InstalledSink {
public:
  /// `what` names several lost entries in a sentence: "entries of the system log".
  InstalledSink(std::shared_ptr<Sink> its, const char* what) : sink_(std::move(its)), what_(what) {}

  [[nodiscard]] const std::shared_ptr<Sink>& sink() const noexcept { return sink_; }

  /// Calls the sink. The first of its failures goes to `report`, with the reason; the number of those that
  /// follow goes to standard error when the sink takes an entry again.
  template <class Use, class Report>
  void call(const Use& use, const Report& report) noexcept {
    try {
      use(*sink_);
      endBurst();
    } catch (const std::exception& failure) {
      if (countLoss()) report(failure.what());
    } catch (...) {
      if (countLoss()) report("something was thrown that is no exception");
    }
  }

  /// Tells of what was lost and not told of.
  void endBurst() noexcept {
    if (lost_.load(std::memory_order_relaxed) == 0) return;
    const std::uint64_t lost = lost_.exchange(0, std::memory_order_relaxed);
    if (lost > 1) NSLog("%d more %s were lost", lost - 1, what_);
  }

private:
  /// Whether it is the first one.
  bool countLoss() noexcept { return lost_.fetch_add(1, std::memory_order_relaxed) == 0; }

  const std::shared_ptr<Sink> sink_;
  const char* const what_;
  std::atomic<std::uint64_t> lost_{0};
};

}  // namespace QVFoundation::detail
