#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <QVFoundation/platform/application/NSProgress.h>

namespace example {

/// Shows trees of progress on standard output: drawn anew in place where that is a terminal, else as a line
/// now and then.
///
/// Threads: the main thread; what is shown may change on any.
/// Ownership: the cursor comes back at the end.
class ProgressScreen {
public:
  ProgressScreen(std::shared_ptr<QVFoundation::NSProgress> whole,
                 std::vector<std::shared_ptr<QVFoundation::NSProgress>> parts);
  ProgressScreen(const ProgressScreen&) = delete;
  ProgressScreen& operator=(const ProgressScreen&) = delete;
  ~ProgressScreen();

  /// Called some times a second. The note stands in the first line.
  void show(const std::string& note);

private:
  void draw(const std::string& note);
  void printLine() const;

  const std::shared_ptr<QVFoundation::NSProgress> whole_;
  const std::vector<std::shared_ptr<QVFoundation::NSProgress>> parts_;  // also once they have left the tree
  const bool isTerminal_;
  long lines_ = 0;  // that stand on the screen
  std::chrono::steady_clock::time_point nextLine_;
};

}  // namespace example
