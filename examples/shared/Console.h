#pragma once

#include <csignal>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "shared/Keys.h"

namespace example {

/// All that a program with a main thread waits for: keys, signals, and what is sent to the main queue.
///
/// Threads: the main thread. It is made before there are others, since signals come to it alone from then on.
/// Ownership: the terminal is given back as it was found, also while the program is stopped by Ctrl-Z.
class Console {
public:
  explicit Console(Keys::Source source = Keys::Source::terminal);
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;
  ~Console();

  /// What came: a key, or a signal that asks the program to end, or neither.
  struct Input {
    char key = 0;
    int signal = 0;
    bool inputHasEnded = false;  ///< which is told once
  };
  /// Waits for something, and runs what the main queue has.
  [[nodiscard]] Input wait();
  [[nodiscard]] bool hasKeys() const noexcept { return keys_ && keys_->areRead(); }
  /// Whether somebody sees a question and can answer it.
  [[nodiscard]] bool canAsk() const noexcept;
  /// Shows a list of choices, and waits for one to be chosen by its number; the last one where a signal asks
  /// to end, or the input has ended. Stopping meanwhile chooses nothing.
  [[nodiscard]] std::size_t choose(const std::vector<std::string>& choices);
  /// Ends the program on the spot, as that signal does.
  [[noreturn]] void endBy(int signal);

private:
  void readKeys();
  [[nodiscard]] int nextSignal();

  const Keys::Source source_;
  sigset_t taken_{};
  const int signals_;
  std::optional<Keys> keys_;
  bool hasInputEnded_ = false;
};

}  // namespace example
