#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/text/StaticText.h"
#include "QVFoundation/platform/tracing/OSSignpostID.h"
#include "QVFoundation/platform/tracing/OSSignpostType.h"

namespace QVFoundation {

/// One signpost on its way to the sink.
///
/// Threads: a plain value, which can be kept: its texts are static.
struct OSSignpost {
  OSSignpostType type = OSSignpostType::event;
  StaticText name;
  OSSignpostID id = OSSignpostID(nullptr);
  /// What it is shown with: its own identifier, or that of what it is a part of.
  OSSignpostID lane = OSSignpostID(nullptr);
  StaticText subsystem;
  StaticText category;
  std::chrono::steady_clock::time_point time;
  std::int32_t thread = 0;  ///< the kernel's number of the thread that put it up
};

/// Where all signposts of the process go. Derive from it to watch them in the program, or to see them in a
/// test.
///
/// Threads: `write` is called on the thread that puts a signpost up, by several at once, and without a lock
/// held. The signposts of one thread come in their order; times of several threads may come in any.
/// Errors: what is thrown is caught. The first failure is reported on standard error; those that follow are
/// counted, and their number is reported when the sink takes a signpost again or is replaced.
class QV_EXPORT OSSignpostSink {
public:
  OSSignpostSink() = default;
  OSSignpostSink(const OSSignpostSink&) = delete;
  OSSignpostSink& operator=(const OSSignpostSink&) = delete;
  virtual ~OSSignpostSink();

  /// Takes one signpost. Those that are put up in here are dropped.
  virtual void write(const OSSignpost& signpost) = 0;

  /// Hears what is shown in a lane, such as an operation by its name, before anything is. Here it does
  /// nothing.
  virtual void nameLane(OSSignpostID /*lane*/, std::string_view /*name*/) {}

  /// Called when the process exits, if the sink is in place then: what is kept back has to go out now.
  /// Signposts that come later are dropped.
  virtual void flush() {}
};

/// Puts a sink in place, at once and for the whole process; null stands for none. Returns the one that was
/// there, so that the new sink can pass signposts on, and so that it can be put back: null, unless the
/// program has installed one or was started with `QV_TRACE_FILE`. That one may still be writing signposts
/// of other threads when this returns.
///
/// Threads: any.
QV_EXPORT std::shared_ptr<OSSignpostSink> setOSSignpostSink(std::shared_ptr<OSSignpostSink> sink);

}  // namespace QVFoundation
