#pragma once

#include <csignal>
#include <pthread.h>
#include <sys/prctl.h>
#include <thread>
#include <utility>

namespace QVFoundation::detail {

/// Starts a thread that runs until its body returns, under a name for debuggers. It takes no signals but
/// those for its own faults: they are the application's. It wakes at the time that it asks for; else the
/// kernel may let 50 microseconds more pass.
///
/// Errors: `std::system_error` where the system has no thread to give.
template <class Body>
void startQuietThread(const char* name, Body body) {
  sigset_t others;
  sigset_t before;
  sigfillset(&others);
  for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS}) sigdelset(&others, fault);
  pthread_sigmask(SIG_SETMASK, &others, &before);
  const auto restore = [&before] { pthread_sigmask(SIG_SETMASK, &before, nullptr); };
  try {
    std::thread([name, body = std::move(body)]() mutable {
      pthread_setname_np(pthread_self(), name);
      prctl(PR_SET_TIMERSLACK, 1UL);  // nanosecond
      body();
    }).detach();
  } catch (...) {
    restore();
    throw;
  }
  restore();
}

}  // namespace QVFoundation::detail
