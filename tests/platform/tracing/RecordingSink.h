#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "QVFoundation/platform/concurrency/Mutex.h"
#include "QVFoundation/platform/tracing/OSLogSink.h"

namespace QVFoundation::testing {

/// An entry with texts of its own.
struct RecordedEntry {
  explicit RecordedEntry(const OSLogEntry& entry)
      : type(entry.type),
        subsystem(entry.subsystem),
        category(entry.category),
        message(entry.message),
        identifier(entry.identifier),
        time(entry.time),
        thread(entry.thread) {}

  OSLogType type;
  std::string subsystem, category, message, identifier;
  std::chrono::system_clock::time_point time;
  std::int32_t thread;
};

class RecordingSink : public OSLogSink {
public:
  void write(const OSLogEntry& entry) override {
    const MutexLock lock(mutex_);
    entries_.emplace_back(entry);
  }

  [[nodiscard]] std::vector<RecordedEntry> take() {
    const MutexLock lock(mutex_);
    return std::exchange(entries_, {});
  }

private:
  Mutex mutex_;
  std::vector<RecordedEntry> entries_ QV_GUARDED_BY(mutex_);
};

/// Has a sink in place for a scope.
template <class Sink>
class SinkInPlace {
public:
  explicit SinkInPlace(std::shared_ptr<Sink> sink = std::make_shared<Sink>())
      : sink_(std::move(sink)), previous_(setOSLogSink(sink_)) {}
  SinkInPlace(const SinkInPlace&) = delete;
  SinkInPlace& operator=(const SinkInPlace&) = delete;
  ~SinkInPlace() { setOSLogSink(previous_); }

  Sink* operator->() const { return sink_.get(); }
  [[nodiscard]] const std::shared_ptr<OSLogSink>& previous() const { return previous_; }

private:
  std::shared_ptr<Sink> sink_;
  std::shared_ptr<OSLogSink> previous_;
};

}  // namespace QVFoundation::testing
