#pragma once

#include <atomic>
#include <string>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/tracing/OSLogType.h"

namespace QVFoundation {

namespace detail {

/// What the loggers of one subsystem and category share, for the life of the process.
struct OSLogChannel {
  OSLogChannel(std::string_view ofSubsystem, std::string_view ofCategory, OSLogType minimum)
      : subsystem(ofSubsystem), category(ofCategory), minimumType(minimum) {}

  const std::string subsystem;
  const std::string category;
  std::atomic<OSLogType> minimumType;
};

}  // namespace detail

/// Writes to the system log: to the systemd journal, or to syslog where none runs.
///
/// ```cpp
/// const OSLogger log("org.example.player", "import");
/// log.log(OSLogType::error, "The cover is no picture");
/// ```
///
/// In the journal, the subsystem and the category are fields of each entry:
/// `journalctl SUBSYSTEM=org.example.player CATEGORY=import` shows these. They name parts of a program, not
/// things that come and go: each pair that was ever used stays in memory until the process ends.
///
/// Threads: safe from any thread.
/// Ownership: a value of one pointer; copies, and loggers made with the same names, share their state.
/// Errors: none reach the caller. What the sink throws is reported on standard error, see `OSLogSink`.
class QV_EXPORT OSLogger {
public:
  OSLogger(std::string_view subsystem, std::string_view category);
  /// One that writes nothing, ever.
  [[nodiscard]] static OSLogger disabled() noexcept;

  [[nodiscard]] const std::string& subsystem() const noexcept { return channel_->subsystem; }
  [[nodiscard]] const std::string& category() const noexcept { return channel_->category; }

  /// Whether entries of the type are written at this moment. Ask it before you compose a costly message.
  [[nodiscard]] bool isEnabled(OSLogType type) const noexcept {
    return type >= channel_->minimumType.load(std::memory_order_relaxed);
  }

  /// Writes the message, whole and as it is, as one entry; nothing if the type is not enabled. Keeps `errno`.
  void log(OSLogType type, std::string_view message) const noexcept;

private:
  explicit OSLogger(const detail::OSLogChannel& channel) noexcept : channel_(&channel) {}

  const detail::OSLogChannel* channel_;
};

/// Switches off what matters less than `type`, for loggers that exist and for those made later. Until then
/// all but `OSLogType::debug` is written. An empty category stands for all categories of the subsystem. The
/// last call wins: one for all categories also changes those that were set alone.
///
/// Threads: any.
QV_EXPORT void setOSLogMinimumType(std::string_view subsystem, std::string_view category, OSLogType type);

}  // namespace QVFoundation
