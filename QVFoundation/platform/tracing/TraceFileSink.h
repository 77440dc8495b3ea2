#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <sys/types.h>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/Mutex.h"
#include "QVFoundation/platform/concurrency/ThreadSafety.h"
#include "QVFoundation/platform/tracing/OSSignpostSink.h"

namespace QVFoundation {

namespace detail {
class TraceEvents;
}

/// Writes signposts to a file that viewers of timelines open: JSON in the trace event format, as an array.
///
/// ```cpp
/// const auto previous = setOSSignpostSink(std::make_shared<TraceFileSink>(folder / "import.json"));
/// importTracks();
/// setOSSignpostSink(previous);
/// ```
///
/// Each lane is a row of the timeline, called by its name, or else by that of the first interval in it. In a
/// row, intervals lie inside of each other or side by side: one that ends before another that began later
/// cuts that one in two. One that begins anew before it has ended ends there. An end without a begin, as of
/// an interval that was open when recording began, is left out.
///
/// Records are written when 64 KiB of them have come together, when the last ones went out a second ago or
/// more, and when the sink is flushed or goes. A crash loses what is still kept back; the file can be
/// opened all the same, as can one whose disk was full. A process that is made by `fork` without `exec`
/// records nothing.
///
/// Threads: safe from any thread.
/// Ownership: owns its file.
/// Errors: the constructor and what writes to the file throw `std::system_error`, which names the file. After
/// the first failure nothing more is written. One that comes at the end is reported on standard error.
class QV_EXPORT TraceFileSink final : public OSSignpostSink {
public:
  /// Makes a new file. One that exists is an error, `std::errc::file_exists`.
  explicit TraceFileSink(std::filesystem::path path);
  ~TraceFileSink() override;

  [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }

  void write(const OSSignpost& signpost) override;
  void nameLane(OSSignpostID lane, std::string_view name) override;
  /// Writes what has come together so far.
  void flush() override;

private:
  [[nodiscard]] bool isInForkedProcess() const noexcept;
  [[nodiscard]] int writeRecords() noexcept QV_REQUIRES(mutex_);
  void writeRecordsOrThrow() QV_REQUIRES(mutex_);
  void close() noexcept QV_REQUIRES(mutex_);

  const std::filesystem::path path_;
  const pid_t process_;
  Mutex mutex_;
  const std::unique_ptr<detail::TraceEvents> events_ QV_PT_GUARDED_BY(mutex_);
  std::string records_ QV_GUARDED_BY(mutex_);
  std::chrono::steady_clock::time_point lastWrite_ QV_GUARDED_BY(mutex_);
  int descriptor_ QV_GUARDED_BY(mutex_);  // -1 after a failure
  off_t size_ QV_GUARDED_BY(mutex_) = 0;  // of the file, up to the end of its last whole record
};

}  // namespace QVFoundation
