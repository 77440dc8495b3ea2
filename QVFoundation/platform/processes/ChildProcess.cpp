#include <array>
#include <cerrno>
#include <csignal>
#include <exception>
#include <utility>

#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/processes/ChildProcess_p.h"
#include "QVFoundation/platform/processes/DescriptorWatch_p.h"
#include "QVFoundation/platform/processes/PollUntil_p.h"
#include "QVFoundation/platform/processes/ProcessCalls_p.h"
#include "QVFoundation/platform/processes/ProcessGroup_p.h"

namespace QVFoundation::detail {

namespace {

using Termination = NSTask::Termination;
using TerminationReason = NSTask::TerminationReason;

constexpr Termination unknownTermination{.status = NSTask::statusUnknown, .reason = TerminationReason::exit};

/// How a process ended; nothing while it runs.
std::optional<Termination> reap(int process, int options) {
  siginfo_t status{};
  const auto waited = uninterrupted(
      [&] { return processCalls().wait(P_PIDFD, static_cast<id_t>(process), &status, WEXITED | options); });
  if (waited != 0) return unknownTermination;  // ECHILD: somebody else was faster
  if (status.si_pid == 0) return {};
  return Termination{
      .status = status.si_status,
      .reason = status.si_code == CLD_EXITED ? TerminationReason::exit : TerminationReason::uncaughtSignal};
}

}  // namespace

ChildProcess::ChildProcess(pid_t identifier, Descriptor process, Group group)
    : identifier_(identifier), group_(group), isKept_(group == Group::kept), process_(std::move(process)) {
  if (!process_.isOpen()) termination_ = unknownTermination;
}

// Most have ended, since the watch keeps the others. One that it could not take back is looked at here once
// more.
ChildProcess::~ChildProcess() {
  letGo();
  const MutexLock guard(lock_);
  (void)look();
}

void ChildProcess::beginWatching() {
  const MutexLock guard(lock_);
  if (termination_) return;
  try {
    watch();
  } catch (...) {
    (void)processCalls().sendSignal(process_.number(), SIGKILL);
    termination_ = reap(process_.number(), 0);
    isKept_ = false;
    closeIfUnused();
    throw;
  }
}

void ChildProcess::beginWaiting() noexcept {
  const MutexLock guard(lock_);
  waitingCount_ = 1;
}

void ChildProcess::watch() {
  watchToken_ = DescriptorWatch::shared().watch(process_.number(),
                                                [self = shared_from_this()] { self->watchHasSeenIt(); });
}

void ChildProcess::watchAgain() {
  try {
    watch();
  } catch (const std::exception&) {
    // Memory is short: whoever asks for its state next reaps it, or the last one who lets go.
    watchToken_ = 0;
  }
}

void ChildProcess::watchHasSeenIt() {
  const MutexLock guard(lock_);
  watchToken_ = 0;
  if (!look() && waitingCount_ == 0) watchAgain();
  closeIfUnused();
}

const std::optional<Termination>& ChildProcess::look() {
  if (!termination_ && process_.isOpen()) {
    termination_ = reap(process_.number(), isKept_ ? WNOHANG | WNOWAIT : WNOHANG);
    runHandlersIfDue();
  }
  return termination_;
}

void ChildProcess::runHandlersIfDue() {
  if (!termination_) return;
  auto due = std::exchange(addedHandlers_, {});
  if (handler_) due.push_back(std::exchange(handler_, nullptr));
  for (Handler& handler : due) {
    DispatchQueue::global()->async(
        [handler = std::move(handler), termination = *termination_] { handler(termination); });
  }
}

// The watch takes its hands off by itself, since the descriptor of what has ended can be read.
void ChildProcess::closeIfUnused() {
  if (termination_ && !isKept_ && waitingCount_ == 0 && watchToken_ == 0) process_.close();
}

std::optional<Termination> ChildProcess::termination() {
  const MutexLock guard(lock_);
  return look();
}

bool ChildProcess::send(int signal) {
  const MutexLock guard(lock_);
  if (look()) return false;
  if (leadsGroup()) return processCalls().sendGroupSignal(identifier_, signal) == 0;
  return processCalls().sendSignal(process_.number(), signal) == 0;
}

void ChildProcess::exchangeHandler(Handler& handler) {
  const MutexLock guard(lock_);
  handler_.swap(handler);
  runHandlersIfDue();
}

void ChildProcess::addHandler(Handler handler) {
  const MutexLock guard(lock_);
  addedHandlers_.push_back(std::move(handler));
  runHandlersIfDue();
}

bool ChildProcess::await(std::optional<std::chrono::nanoseconds> atMost) {
  return awaitUntil(steadyTimeAfter(atMost));
}

bool ChildProcess::awaitUntil(std::optional<SteadyTime> end) {
  if (termination()) return true;
  const Waiting waiting(shared_from_this());
  for (;;) {
    std::array<pollfd, 1> request{{{.fd = waiting.descriptor(), .events = POLLIN, .revents = 0}}};
    const bool isReady = request[0].fd < 0 || pollUntil(request, end);
    if (termination()) return true;
    if (!isReady && end && std::chrono::steady_clock::now() >= *end) return false;
  }
}

// Its group

bool ChildProcess::sendToGroup(int signal) {
  const MutexLock guard(lock_);
  if (!leadsGroup() || !process_.isOpen() || (look() && !isKept_)) return false;
  siginfo_t status{};
  const bool isOurs = processCalls().wait(P_PIDFD, static_cast<id_t>(process_.number()), &status,
                                          WEXITED | WNOHANG | WNOWAIT) == 0;
  return isOurs && processCalls().sendGroupSignal(identifier_, signal) == 0;
}

bool ChildProcess::awaitGroup(std::optional<std::chrono::nanoseconds> atMost) {
  const auto end = steadyTimeAfter(atMost);
  return awaitUntil(end) && (group_ != Group::kept || awaitOthersOfGroup(identifier_, end));
}

void ChildProcess::letGo() {
  const MutexLock guard(lock_);
  if (!std::exchange(isKept_, false) || !process_.isOpen()) return;
  if (termination_) (void)reap(process_.number(), WNOHANG);
  closeIfUnused();
}

// The watch is left outside of the lock, which its callback takes.
ChildProcess::Waiting::Waiting(std::shared_ptr<ChildProcess> child) : child_(std::move(child)) {
  std::uint64_t token = 0;
  {
    const MutexLock guard(child_->lock_);
    if (child_->waitingCount_++ == 0) token = std::exchange(child_->watchToken_, 0);
  }
  if (token != 0) DescriptorWatch::shared().withdraw(token);
}

ChildProcess::Waiting::~Waiting() {
  const MutexLock guard(child_->lock_);
  if (--child_->waitingCount_ > 0) return;
  if (!child_->look()) child_->watchAgain();
  child_->closeIfUnused();
}

int ChildProcess::Waiting::descriptor() const {
  const MutexLock guard(child_->lock_);
  return child_->process_.number();
}

}  // namespace QVFoundation::detail
