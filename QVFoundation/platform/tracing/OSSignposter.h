#pragma once

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/text/StaticText.h"
#include "QVFoundation/platform/tracing/OSSignpostID.h"
#include "QVFoundation/platform/tracing/OSSignpostType.h"

namespace QVFoundation {

/// Marks moments and intervals of a program for those who watch it run.
///
/// ```cpp
/// static constexpr OSSignposter signposts("org.example.player", "import");
/// const OSSignpostID id(this);
/// signposts.mark(OSSignpostType::begin, "decode", id);
/// decode();
/// signposts.mark(OSSignpostType::end, "decode", id);
/// ```
///
/// Three can see them, without any change to the program:
///
/// - Tracing tools that know static probes. The probes `qvfoundation:signpost_event`, `…:signpost_begin` and
///   `…:signpost_end` are in the shared library, with the name and the number of the identifier as arguments.
/// - Viewers of timelines. A program that is started with `QV_TRACE_FILE=trace.json` writes one; `%p` in
///   that name becomes the number of the process. No file is ever overwritten: where there is one already,
///   written by the last run or by the process that started this one, the number is put before its
///   extension, as in `trace.4711.json`, and a line on standard error says so. See `TraceFileSink`.
/// - The program itself, with a sink of its own: see `OSSignpostSink.h`.
///
/// While nobody looks, a signpost costs a call, a load and two branches.
///
/// Threads: safe from any thread.
/// Errors: none reach the caller. A trace file that cannot be written costs one line on standard error.
class QV_EXPORT OSSignposter {
public:
  constexpr OSSignposter(StaticText subsystem, StaticText category) noexcept
      : subsystem_(subsystem), category_(category) {}

  [[nodiscard]] constexpr StaticText subsystem() const noexcept { return subsystem_; }
  [[nodiscard]] constexpr StaticText category() const noexcept { return category_; }

  /// A signpost in a lane of its own. Keeps `errno`.
  void mark(OSSignpostType type, StaticText name, OSSignpostID id) const noexcept {
    mark(type, name, id, id);
  }
  /// A signpost that timelines show in the lane of something else, of which it is a part.
  void mark(OSSignpostType type, StaticText name, OSSignpostID id, OSSignpostID lane) const noexcept;

private:
  void put(OSSignpostType type, StaticText name, OSSignpostID id, OSSignpostID lane) const noexcept;

  StaticText subsystem_;
  StaticText category_;
};

}  // namespace QVFoundation
