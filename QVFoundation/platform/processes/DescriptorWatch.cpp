#include <array>
#include <cerrno>
#include <span>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <system_error>
#include <utility>

#include "QVFoundation/platform/concurrency/QuietThread_p.h"
#include "QVFoundation/platform/processes/DescriptorWatch_p.h"
#include "QVFoundation/platform/processes/ProcessCalls_p.h"

namespace QVFoundation::detail {

namespace {

thread_local bool isWatchThread = false;

[[noreturn]] void throwSystemError(int code, const char* what) {
  throw std::system_error(code, std::generic_category(), what);
}

}  // namespace

DescriptorWatch& DescriptorWatch::shared() {
  static DescriptorWatch& watch = *new DescriptorWatch;
  return watch;
}

void DescriptorWatch::prepare() {
  const std::lock_guard guard(mutex_);
  prepareLocked();
}

void DescriptorWatch::prepareLocked() {
  if (set_.isOpen()) return;
  Descriptor set(processCalls().makeSet(EPOLL_CLOEXEC));
  if (!set.isOpen()) throwSystemError(errno, "Descriptors could not be watched");
  // The thread finds the set by the time that the first descriptor is in it.
  startQuietThread("QV descriptors", [this] { run(); });
  set_ = std::move(set);
}

DescriptorWatch::Token DescriptorWatch::watch(int descriptor, Callback callback) {
  const std::lock_guard guard(mutex_);
  prepareLocked();
  const Token token = ++lastToken_;
  const auto place = entries_.emplace(token, Entry{descriptor, Descriptor(), std::move(callback)}).first;
  if (const int code = add(place->second, token); code != 0) {
    entries_.erase(place);
    throwSystemError(code, "The descriptor could not be watched");
  }
  return token;
}

// Returns what went wrong, or 0. The kernel takes a number once only, and no files.
int DescriptorWatch::add(Entry& entry, Token token) const {
  epoll_event event{.events = EPOLLIN | EPOLLRDHUP | EPOLLONESHOT, .data = {.u64 = token}};
  const ProcessCalls& calls = processCalls();
  if (calls.changeSet(set_.number(), EPOLL_CTL_ADD, entry.descriptor, &event) == 0) return 0;
  if (errno == EEXIST) {
    entry.standIn = Descriptor(calls.duplicate(entry.descriptor, 0));
  } else if (errno == EPERM) {
    entry.standIn = Descriptor(calls.makeEvent(1, EFD_CLOEXEC));  // can be read at once
  } else {
    return errno;
  }
  if (!entry.standIn.isOpen()) return errno;
  entry.descriptor = entry.standIn.number();
  return calls.changeSet(set_.number(), EPOLL_CTL_ADD, entry.descriptor, &event) == 0 ? 0 : errno;
}

void DescriptorWatch::remove(const Entry& entry) const {
  epoll_event unused{};
  (void)processCalls().changeSet(set_.number(), EPOLL_CTL_DEL, entry.descriptor, &unused);
}

void DescriptorWatch::withdraw(Token token) {
  Callback withdrawn;  // goes after the lock
  std::unique_lock lock(mutex_);
  if (const auto place = entries_.find(token); place != entries_.end()) {
    remove(place->second);
    withdrawn = std::move(place->second.callback);
    entries_.erase(place);
  } else if (!isWatchThread) {
    callEnded_.wait(lock, [&] { return running_ != token; });
  }
}

void DescriptorWatch::run() {
  isWatchThread = true;
  prepare();  // waits until the set is there
  const int set = set_.number();
  std::array<epoll_event, 16> events{};
  for (;;) {
    const int count = processCalls().waitForSet(set, events.data(), std::ssize(events), -1);
    for (const epoll_event& event :
         std::span(events).first(count > 0 ? static_cast<std::size_t>(count) : 0)) {
      call(event.data.u64);
    }
  }
}

void DescriptorWatch::call(Token token) {
  Callback callback;
  {
    const std::lock_guard guard(mutex_);
    const auto place = entries_.find(token);
    if (place == entries_.end()) return;  // withdrawn at the last moment
    remove(place->second);
    callback = std::move(place->second.callback);
    entries_.erase(place);
    running_ = token;
  }
  callback();
  callback = nullptr;  // what it holds goes before anybody who waits for it goes on
  {
    const std::lock_guard guard(mutex_);
    running_ = 0;
  }
  callEnded_.notify_all();
}

}  // namespace QVFoundation::detail
