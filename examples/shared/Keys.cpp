#include "shared/Keys.h"

#include <unistd.h>

namespace example {

Keys::Keys(ControlC controlC, Source source)
    : isOtherInput_(source == Source::anyInput && isatty(STDIN_FILENO) == 0) {
  // One that runs in the background would be stopped for touching the terminal.
  termios settings{};
  if (tcgetpgrp(STDIN_FILENO) != getpgrp() || tcgetattr(STDIN_FILENO, &settings) != 0) return;
  before_ = settings;
  settings.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  if (controlC == ControlC::isAKey) settings.c_lflag &= ~static_cast<tcflag_t>(ISIG);
  settings.c_cc[VMIN] = 0;  // a read returns at once
  settings.c_cc[VTIME] = 0;
  (void)tcsetattr(STDIN_FILENO, TCSANOW, &settings);
}

Keys::~Keys() {
  if (before_) (void)tcsetattr(STDIN_FILENO, TCSANOW, &*before_);
}

std::optional<char> Keys::next() const {
  char key = 0;
  if (!areRead() || ::read(STDIN_FILENO, &key, 1) != 1) return {};
  return key;
}

}  // namespace example
