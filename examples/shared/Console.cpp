#include "shared/Console.h"

#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <QVFoundation/platform/concurrency/MainQueue.h>

namespace example {

namespace {

/// Those that are not ignored, as whoever started the program may have wished.
sigset_t wantedSignals() {
  sigset_t wanted;
  sigemptyset(&wanted);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGCONT}) {
    struct sigaction present{};
    sigaction(signal, nullptr, &present);
    if (present.sa_handler != SIG_IGN) sigaddset(&wanted, signal);
  }
  return wanted;
}

}  // namespace

Console::Console(Keys::Source source)
    : source_(source), taken_(wantedSignals()), signals_(signalfd(-1, &taken_, SFD_CLOEXEC | SFD_NONBLOCK)) {
  pthread_sigmask(SIG_BLOCK, &taken_, nullptr);
  readKeys();
}

Console::~Console() { ::close(signals_); }

Console::Input Console::wait() {
  if (!hasKeys() && !hasInputEnded_) readKeys();  // it may have come to the foreground
  pollfd watched[] = {{hasKeys() ? STDIN_FILENO : -1, POLLIN, 0},
                      {signals_, POLLIN, 0},
                      {QVFoundation::mainQueueFileDescriptor(), POLLIN, 0}};
  if (::poll(watched, std::size(watched), -1) <= 0) return {};
  if (watched[2].revents != 0) QVFoundation::drainMainQueue();
  if (const int signal = nextSignal()) return {.signal = signal};
  if (watched[0].revents == 0 || !hasKeys()) return {};
  const auto key = keys_->next();
  if (!key) keys_.reset();
  hasInputEnded_ = !key && isatty(STDIN_FILENO) == 0;
  return {.key = key.value_or(0), .inputHasEnded = !key};
}

void Console::readKeys() { keys_.emplace(Keys::ControlC::interrupts, source_); }

/// Stops and goes on with the shell's wishes, which are nobody else's business.
int Console::nextSignal() {
  signalfd_siginfo info{};
  while (::read(signals_, &info, sizeof info) == sizeof info) {
    const int signal = static_cast<int>(info.ssi_signo);
    if (signal == SIGTSTP) {
      keys_.reset();
      raise(SIGSTOP);
    } else if (signal == SIGCONT) {
      keys_.reset();  // the shell may have changed the terminal meanwhile
    } else {
      return signal;
    }
  }
  return 0;
}

bool Console::canAsk() const noexcept { return hasKeys() && isatty(STDOUT_FILENO) != 0; }

std::size_t Console::choose(const std::vector<std::string>& choices) {
  for (std::size_t i = 0; i < choices.size(); ++i) std::printf("  %zu  %s\n", i + 1, choices[i].c_str());
  (void)std::fflush(stdout);
  for (;;) {
    const Input input = wait();
    const auto index = static_cast<std::size_t>(input.key - '1');
    if (input.signal != 0 || input.inputHasEnded) return choices.size() - 1;
    if (input.key >= '1' && index < choices.size()) return index;
  }
}

void Console::endBy(int signal) {
  keys_.reset();
  std::_Exit(128 + signal);
}

}  // namespace example
