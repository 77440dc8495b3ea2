#include "QVFoundation/platform/tracing/OSSignpostSink.h"

#include <cstdlib>
#include <tuple>
#include <utility>

#include "QVFoundation/platform/concurrency/ThreadSafety.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"
#include "QVFoundation/platform/tracing/InstalledSink_p.h"
#include "QVFoundation/platform/tracing/NSLog.h"
#include "QVFoundation/platform/tracing/SignpostDelivery_p.h"
#include "QVFoundation/platform/tracing/TraceFileFromEnvironment_p.h"

namespace QVFoundation {

constinit std::atomic<bool> detail::signpostsMayBeWanted{true};

namespace {

using InstalledSignpostSink = detail::InstalledSink<OSSignpostSink>;

std::shared_ptr<InstalledSignpostSink> installed(std::shared_ptr<OSSignpostSink> sink) {
  if (!sink) return nullptr;
  return std::make_shared<InstalledSignpostSink>(std::move(sink), "signposts");
}

void reportFailure(const char* reason) noexcept { NSLog("Could not record a signpost: %@", reason); }

void flushAtExit() noexcept;

/// The place for the one sink, which is empty or taken. Never destroyed, since threads may still run then.
class SignpostSinkPlace {
public:
  /// Asks the environment when it is first wanted.
  static SignpostSinkPlace& shared() {
    static auto& place = *new SignpostSinkPlace;
    return place;
  }

  std::shared_ptr<InstalledSignpostSink> current() noexcept {
    const UnfairLockGuard guard(lock_);
    return sink_;
  }

  /// Returns what was there before.
  std::shared_ptr<InstalledSignpostSink> exchange(std::shared_ptr<InstalledSignpostSink> sink) noexcept {
    const UnfairLockGuard guard(lock_);
    put(sink);
    return sink;
  }

private:
  SignpostSinkPlace() {
    auto sink = installed(detail::traceFileFromEnvironment());
    const UnfairLockGuard guard(lock_);
    put(sink);
    std::ignore = std::atexit(flushAtExit);
  }

  /// Leaves what was there before in `sink`.
  void put(std::shared_ptr<InstalledSignpostSink>& sink) noexcept QV_REQUIRES(lock_) {
    sink_.swap(sink);
    detail::signpostsMayBeWanted.store(sink_ != nullptr, std::memory_order_relaxed);
  }

  UnfairLock lock_;
  std::shared_ptr<InstalledSignpostSink> sink_ QV_GUARDED_BY(lock_);
};

/// Other threads may hold the sink for a while, so it is told, besides being let go.
void flushAtExit() noexcept {
  const auto last = SignpostSinkPlace::shared().exchange(nullptr);
  if (last) last->call([](OSSignpostSink& sink) { sink.flush(); }, reportFailure);
}

/// Whether a sink of this thread is at work.
constinit thread_local bool isWritingSignpost = false;

template <class Use>
void useSink(const Use& use) noexcept {
  if (isWritingSignpost) return;
  isWritingSignpost = true;
  if (const auto place = SignpostSinkPlace::shared().current()) place->call(use, reportFailure);
  isWritingSignpost = false;
}

}  // namespace

namespace detail {

void deliver(const OSSignpost& signpost) noexcept {
  useSink([&](OSSignpostSink& sink) { sink.write(signpost); });
}

void nameSignpostLane(OSSignpostID lane, std::string_view name) noexcept {
  useSink([&](OSSignpostSink& sink) { sink.nameLane(lane, name); });
}

}  // namespace detail

OSSignpostSink::~OSSignpostSink() = default;

std::shared_ptr<OSSignpostSink> setOSSignpostSink(std::shared_ptr<OSSignpostSink> sink) {
  const auto previous = SignpostSinkPlace::shared().exchange(installed(std::move(sink)));
  if (!previous) return nullptr;
  previous->endBurst();
  return previous->sink();
}

}  // namespace QVFoundation
