#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/copying/CopyReport.h"
#include "QVFoundation/platform/files/PathView.h"

namespace QVFoundation::detail {

/// What an event is about.
enum class CopyItem {
  file,    ///< anything but a folder
  data,    ///< the content of a file that has started
  folder,  ///< starts before, and finishes after, what is in it
};

enum class CopyStage { start, progress, finish, error };

struct CopyEvent {
  CopyItem item;
  CopyStage stage;
  std::string_view source;  ///< while the callback runs
  std::string_view destination;
  std::int64_t copied = 0;  ///< of `progress`: bytes of this file so far
};

enum class CopyAnswer { goOn, quit };

enum class CopyMethod {
  copy,
  clone,  ///< each file shares its blocks with the source where the file system can do that
};

struct CopyOptions {
  CopyMethod method = CopyMethod::copy;
  CopyFlushPolicy flushPolicy = CopyFlushPolicy::cached;
  unsigned helpers = 3;    ///< threads beside the calling one, at the most
  bool keepsParts = true;  ///< of a copy that failed, or was stopped
};

/// Copies an item, and all that is in it if it is a folder, with holes, times, modes, owners, links, hard links
/// among them, extended attributes and access lists.
///
/// ```text
/// folder start  root
///   file start  root/a
///     data progress  root/a  8 MiB
///     data progress  root/a  9 MiB        always ends with the size of the file; none for empty ones
///   file finish  root/a
/// folder finish root
/// ```
///
/// - The destination must not exist. A file gets its name when it is whole, and never in place of another.
/// - No link is followed, not the source itself, nor one that somebody puts in the way.
/// - Every failure is an `error` event, with the reason in `errno`; after it, and after the answer `quit`,
///   nothing more is copied. What is there by then stays, unless `keepsParts` is false; files that were
///   begun do not.
/// - What could not be kept beside the content is in the report, and is no failure.
///
/// Small files are copied ahead of their events, some at a time, by other threads.
///
/// Threads: any. The callback is called on the calling thread, for one file after the other.
/// Errors: returns the `errno` of the `error` event, `ECANCELED` after `quit`, else 0. What the callback throws
/// goes through.
using CopyCallback = std::function<CopyAnswer(const CopyEvent&)>;
QV_TEST_EXPORT int copyItem(PathView source, PathView destination, const CopyOptions& options,
                            const CopyCallback& callback, CopyReport& report);

}  // namespace QVFoundation::detail
