#pragma once

#include "QVFoundation/platform/Export.h"

namespace QVFoundation {

class XRCopyFileOperation;

/// Hears of the progress of a copy.
///
/// Threads: called on the thread that runs the operation.
/// Ownership: not kept by the operation.
/// Errors: what it throws ends the copy, and is the operation's failure.
class QV_EXPORT XRCopyFileDelegate {
public:
  XRCopyFileDelegate() = default;
  XRCopyFileDelegate(const XRCopyFileDelegate&) = default;
  XRCopyFileDelegate& operator=(const XRCopyFileDelegate&) = default;
  virtual ~XRCopyFileDelegate();

  /// Called whenever bytes have been added to `progress()`: for a large file each 8 MiB or 50 milliseconds,
  /// for others once.
  virtual void copyFileOperationDidUpdateProgress(XRCopyFileOperation& operation) = 0;
};

}  // namespace QVFoundation
