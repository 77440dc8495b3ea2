#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include <QVFoundation/platform/application/NSProgress.h>

namespace example {

/// Shows a progress in three lines, drawn anew in place where standard output is a terminal; elsewhere in one
/// now and then.
///
/// Threads: the main thread.
class ProgressLines {
public:
  ProgressLines();
  ProgressLines(const ProgressLines&) = delete;
  ProgressLines& operator=(const ProgressLines&) = delete;

  /// Of the whole the fraction and the texts are shown; of the part, which may be null, what it counts, how
  /// fast, and how long it will take.
  void show(const QVFoundation::NSProgress& whole, const QVFoundation::NSProgress* part,
            const std::string& note, bool isPaused);

private:
  using Clock = std::chrono::steady_clock;
  struct Sample {
    Clock::time_point time;
    std::int64_t count;
  };
  [[nodiscard]] std::string amountOf(const QVFoundation::NSProgress& part, bool isPaused);
  void draw(const std::vector<std::string>& lines);

  const bool isTerminal_;
  bool isDrawn_ = false;
  std::deque<Sample> samples_;  // of the last seconds
  std::string description_;     // as it was shown last
  Clock::time_point nextLine_;
};

}  // namespace example
