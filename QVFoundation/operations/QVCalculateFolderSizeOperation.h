#pragma once

#include <cstdint>

#include "QVFoundation/operations/QVOperation.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/NSURL.h"

namespace QVFoundation {

/// How many bytes there are in all files in a folder, however deep.
///
/// ```cpp
/// const auto bytes = performSubOperation(std::make_shared<QVCalculateFolderSizeOperation>(folder), measure);
/// ```
///
/// Everything but a folder is a file and counts with its logical size: a link with that of its own text, a
/// file with several names once for each, one with holes as if it had none. Folders add nothing. So this is
/// what an `XRCopyFileOperation` of the folder has to copy. The result is 0 for what is no folder, also for a
/// file, a link to a folder, and what does not exist.
///
/// Threads: those of a `QVOperation`. It looks for a cancellation after each item.
/// Errors: an item that may not be looked at, or has gone meanwhile, ends it, with the error that
/// `NSURL::resourceValueForKey` gives. A folder that cannot be read counts as empty. More bytes than
/// fit into the result end the process.
class QV_EXPORT QVCalculateFolderSizeOperation : public QVOperation,
                                                 public QVSyncOperationProtocol<std::int64_t> {
public:
  static const NSClass& staticClass();
  const NSClass& dynamicClass() const override { return staticClass(); }

  explicit QVCalculateFolderSizeOperation(NSURL url);

  [[nodiscard]] const NSURL& url() const noexcept { return url_; }

  std::int64_t perform() override;

private:
  const NSURL url_;
};

}  // namespace QVFoundation
