#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/tracing/OSLogType.h"

namespace QVFoundation {

/// One entry of the system log on its way to the sink. Its texts are borrowed: who wants to keep them
/// copies them.
///
/// Threads: a plain value.
struct OSLogEntry {
  OSLogType type = OSLogType::default_;
  std::string_view subsystem;
  std::string_view category;
  std::string_view message;
  std::string_view identifier;  ///< the name of the program
  std::chrono::system_clock::time_point time;
  std::int32_t thread = 0;  ///< the kernel's number of the thread that logs
};

/// Where the entries of all `OSLogger`s go. Derive from it to send them elsewhere, or to see them in a test.
///
/// Threads: `write` is called on the thread that logs, by several at once, and without a lock held.
/// Errors: what `write` throws is caught. The first failure is reported on standard error; those that follow
/// are counted, and their number is reported when the sink takes an entry again or is replaced.
class QV_EXPORT OSLogSink {
public:
  OSLogSink() = default;
  OSLogSink(const OSLogSink&) = delete;
  OSLogSink& operator=(const OSLogSink&) = delete;
  virtual ~OSLogSink();

  /// Takes one entry. What is logged in here goes to standard error instead of back to the sink.
  virtual void write(const OSLogEntry& entry) = 0;
};

/// Puts a sink in place, at once and for the whole process; null stands for the system log. Returns the one
/// that was there, never null, so that the new sink can pass entries on, and so that it can be put back. That
/// one may still be writing entries of other threads when this returns.
///
/// Threads: any.
QV_EXPORT std::shared_ptr<OSLogSink> setOSLogSink(std::shared_ptr<OSLogSink> sink);

}  // namespace QVFoundation
