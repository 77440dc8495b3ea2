#pragma once

#include <array>
#include <string>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/tracing/OSLogSink.h"

namespace QVFoundation::detail {

/// The log of the machine: the journal if its socket is there, else syslog. It looks anew for each entry,
/// since services start, stop and come back.
///
/// Threads: any.
/// Errors: `write` throws `std::system_error` if the journal refuses an entry, or if nobody listens
/// to syslog.
class QV_TEST_EXPORT SystemLogSink final : public OSLogSink {
public:
  void write(const OSLogEntry& entry) override;
};

/// An entry as the journal wants it: fields of the form "NAME=value", whose values may hold any bytes.
[[nodiscard]] QV_TEST_EXPORT std::array<std::string, 6> journalFieldsOf(const OSLogEntry& entry);

/// An entry as text of one piece: "[subsystem:category] message". NUL, at which syslog(3) would stop, becomes
/// U+FFFD. Of more than 64 KiB the rest is left out, and its size is said at the end.
[[nodiscard]] QV_TEST_EXPORT std::string syslogTextOf(const OSLogEntry& entry);

/// The priority of syslog(3) that stands for a type; the journal uses the same numbers.
[[nodiscard]] QV_TEST_EXPORT int syslogPriorityOf(OSLogType type) noexcept;

}  // namespace QVFoundation::detail
