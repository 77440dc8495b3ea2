#pragma once

#include <optional>
#include <termios.h>

namespace example {

/// Keys as they are pressed, where standard input is a terminal that this process may read from. Where it is
/// none, there are no keys, or, if wanted, what is written to it.
///
/// Threads: the main thread.
/// Ownership: the terminal is given back as it was found.
class Keys {
public:
  enum class ControlC { isAKey, interrupts };

  enum class Source { terminal, anyInput };

  explicit Keys(ControlC controlC, Source source = Source::terminal);
  Keys(const Keys&) = delete;
  Keys& operator=(const Keys&) = delete;
  ~Keys();

  [[nodiscard]] bool areRead() const noexcept { return before_ || isOtherInput_; }
  /// The next one that waits; nothing at the end of what is no terminal.
  [[nodiscard]] std::optional<char> next() const;

private:
  std::optional<termios> before_;
  const bool isOtherInput_;
};

}  // namespace example
