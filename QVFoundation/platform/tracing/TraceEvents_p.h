#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <unordered_map>
#include <vector>

#include "QVFoundation/platform/tracing/OSSignpostSink.h"

namespace QVFoundation::detail {

/// Turns signposts into records of the trace event format, each on a line of its own, and sees to it that the
/// intervals in a lane nest.
///
/// The format asks for the numbers of a process and a thread. Viewers draw a row for each thread; here that
/// is a lane.
///
/// Threads: one thread at a time.
class TraceEvents {
public:
  explicit TraceEvents(pid_t process) : process_(process) {}

  /// The name of the process. All others begin with a comma.
  [[nodiscard]] std::string firstRecord() const;
  void append(std::string& out, const OSSignpost& signpost);
  /// Gives a lane a name, unless it has one.
  void appendName(std::string& out, OSSignpostID id, std::string_view name);

private:
  struct Lane {
    unsigned number = 0;
    bool isNamed = false;
    std::vector<OSSignpost> open;  // where intervals began that have not ended, each inside of the one before
  };

  Lane& laneWith(OSSignpostID id);
  void begin(std::string& out, Lane& lane, const OSSignpost& signpost);
  void end(std::string& out, Lane& lane, const OSSignpost& signpost) const;
  void appendRecord(std::string& out, const Lane& lane, const OSSignpost& signpost, const char* phase) const;

  const pid_t process_;
  std::unordered_map<OSSignpostID, Lane> lanes_;  // viewers want small numbers, so they are counted
};

}  // namespace QVFoundation::detail
