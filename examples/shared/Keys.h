#pragma once

#include <optional>
#include <termios.h>

namespace example {

/// Keys as they are pressed, where standard input is a terminal that this process may read from; else none.
///
/// Threads: the main thread.
/// Ownership: the terminal is given back as it was found.
class Keys {
public:
  enum class ControlC { isAKey, interrupts };

  explicit Keys(ControlC controlC);
  Keys(const Keys&) = delete;
  Keys& operator=(const Keys&) = delete;
  ~Keys();

  [[nodiscard]] bool areRead() const noexcept { return before_.has_value(); }
  /// The next one that waits.
  [[nodiscard]] std::optional<char> next() const;

private:
  std::optional<termios> before_;
};

}  // namespace example
