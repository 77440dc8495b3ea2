#pragma once

#include <cstdint>
#include <string>

#include "QVFoundation/platform/files/NSURL.h"
#include "QVFoundation/platform/runtime/Value.h"

namespace QVFoundation {

/// A log file in the folder of a log manager.
///
/// Threads: a plain value.
struct QVLogFile {
  NSURL url;
  std::string name;  ///< of the job, such as "Backup", as far as its file's name tells
  NSDate date;       ///< when it was begun, to the second
  std::uint64_t size = 0;
};

}  // namespace QVFoundation
