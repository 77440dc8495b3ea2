#pragma once

#include <string>
#include <utility>
#include <vector>

#include "QVFoundation/platform/concurrency/Mutex.h"
#include "QVFoundation/platform/tracing/OSLogSink.h"

namespace QVFoundation::testing {

/// An entry with texts of its own.
struct RecordedEntry {
  OSLogType type;
  std::string subsystem, category, message, identifier;
  std::chrono::system_clock::time_point time;
  std::int32_t thread;
};

class RecordingSink : public OSLogSink {
public:
  void write(const OSLogEntry& entry) override {
    const auto& [type, subsystem, category, message, identifier, time, thread] = entry;
    const MutexLock lock(mutex_);
    entries_.push_back({type, std::string(subsystem), std::string(category), std::string(message),
                        std::string(identifier), time, thread});
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
  SinkInPlace() : previous_(setOSLogSink(sink_)) {}
  SinkInPlace(const SinkInPlace&) = delete;
  SinkInPlace& operator=(const SinkInPlace&) = delete;
  ~SinkInPlace() { setOSLogSink(previous_); }

  Sink* operator->() const { return sink_.get(); }

private:
  std::shared_ptr<Sink> sink_ = std::make_shared<Sink>();
  std::shared_ptr<OSLogSink> previous_;
};

}  // namespace QVFoundation::testing
