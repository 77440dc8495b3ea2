#include "QVFoundation/platform/tracing/OSLogSink.h"

#include <atomic>
#include <exception>
#include <utility>

#include "QVFoundation/platform/concurrency/AtomicShared.h"
#include "QVFoundation/platform/tracing/NSLog.h"
#include "QVFoundation/platform/tracing/OSLogDelivery_p.h"
#include "QVFoundation/platform/tracing/SystemLogSink_p.h"

namespace QVFoundation {

namespace {

/// A sink in its place, and how many entries it has lost since it last took one.
struct InstalledSink {
  explicit InstalledSink(std::shared_ptr<OSLogSink> its) : sink(std::move(its)) {}

  const std::shared_ptr<OSLogSink> sink;
  std::atomic<std::uint64_t> lost{0};
};

/// Never destroyed, since destructors of static objects may log.
AtomicShared<InstalledSink>& installedSink() {
  static auto& installed = *new AtomicShared<InstalledSink>(
      std::make_shared<InstalledSink>(std::make_shared<detail::SystemLogSink>()));
  return installed;
}

void countLoss(InstalledSink& installed, const OSLogEntry& entry, const char* reason) noexcept {
  if (installed.lost.fetch_add(1, std::memory_order_relaxed) > 0) return;
  NSLog("Could not write to the system log: %@. The message was: %@", reason, entry.message);
}

void endBurst(InstalledSink& installed) noexcept {
  if (installed.lost.load(std::memory_order_relaxed) == 0) return;
  const std::uint64_t lost = installed.lost.exchange(0, std::memory_order_relaxed);
  if (lost > 1) NSLog("%d more entries of the system log were lost", lost - 1);
}

/// Whether a sink of this thread is at work.
constinit thread_local bool isWriting = false;

void write(InstalledSink& installed, const OSLogEntry& entry) noexcept {
  isWriting = true;
  try {
    installed.sink->write(entry);
    endBurst(installed);
  } catch (const std::exception& failure) {
    countLoss(installed, entry, failure.what());
  } catch (...) {
    countLoss(installed, entry, "something was thrown that is no exception");
  }
  isWriting = false;
}

}  // namespace

namespace detail {

void deliver(const OSLogEntry& entry) noexcept {
  if (isWriting) {
    NSLog("[%@:%@] %@", entry.subsystem, entry.category, entry.message);
  } else {
    write(*installedSink().load(), entry);
  }
}

}  // namespace detail

OSLogSink::~OSLogSink() = default;

std::shared_ptr<OSLogSink> setOSLogSink(std::shared_ptr<OSLogSink> sink) {
  if (!sink) sink = std::make_shared<detail::SystemLogSink>();
  const auto previous = installedSink().exchange(std::make_shared<InstalledSink>(std::move(sink)));
  endBurst(*previous);
  return previous->sink;
}

}  // namespace QVFoundation
