#include "QVFoundation/platform/tracing/OSLogSink.h"

#include <utility>

#include "QVFoundation/platform/concurrency/AtomicShared.h"
#include "QVFoundation/platform/tracing/InstalledSink_p.h"
#include "QVFoundation/platform/tracing/NSLog.h"
#include "QVFoundation/platform/tracing/OSLogDelivery_p.h"
#include "QVFoundation/platform/tracing/SystemLogSink_p.h"

namespace QVFoundation {

namespace {

using InstalledLogSink = detail::InstalledSink<OSLogSink>;

std::shared_ptr<InstalledLogSink> installed(std::shared_ptr<OSLogSink> sink) {
  return std::make_shared<InstalledLogSink>(std::move(sink), "entries of the system log");
}

/// Never destroyed, since destructors of static objects may log.
AtomicShared<InstalledLogSink>& installedLogSink() {
  static auto& place =
      *new AtomicShared<InstalledLogSink>(installed(std::make_shared<detail::SystemLogSink>()));
  return place;
}

/// Whether a sink of this thread is at work.
constinit thread_local bool isWriting = false;

void writeTo(InstalledLogSink& place, const OSLogEntry& entry) noexcept {
  isWriting = true;
  place.call([&](OSLogSink& sink) { sink.write(entry); },
             [&](const char* reason) {
               NSLog("Could not write to the system log: %@. The message was: %@", reason, entry.message);
             });
  isWriting = false;
}

}  // namespace

namespace detail {

void deliver(const OSLogEntry& entry) noexcept {
  if (isWriting) {
    NSLog("[%@:%@] %@", entry.subsystem, entry.category, entry.message);
  } else {
    writeTo(*installedLogSink().load(), entry);
  }
}

}  // namespace detail

OSLogSink::~OSLogSink() = default;

std::shared_ptr<OSLogSink> setOSLogSink(std::shared_ptr<OSLogSink> sink) {
  if (!sink) sink = std::make_shared<detail::SystemLogSink>();
  const auto previous = installedLogSink().exchange(installed(std::move(sink)));
  previous->endBurst();
  return previous->sink();
}

}  // namespace QVFoundation
