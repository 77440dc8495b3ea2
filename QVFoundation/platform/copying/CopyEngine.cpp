#include <cerrno>
#include <new>
#include <string>

#include "QVFoundation/platform/copying/CopyEngine_p.h"
#include "QVFoundation/platform/copying/CopyRun_p.h"
#include "QVFoundation/platform/copying/CopyWalk_p.h"
#include "QVFoundation/platform/files/PathComponentReader_p.h"

namespace QVFoundation::detail {

int copyItem(PathView source, PathView destination, const CopyOptions& options, const CopyCallback& callback,
             CopyReport& report) {
  CopyRun run(source, destination, options, callback, report);
  CopyWalk walk(run, withoutFinalSlashes(source), withoutFinalSlashes(destination));
  try {
    walk.copy();
  } catch (const std::bad_alloc&) {
    if (run.isInCallback()) throw;
    run.fail(CopyItem::file, std::string(source), ENOMEM);
  }
  if (run.result() != 0 && !options.keepsParts) {
    run.queue.finishNone();  // so that nobody makes anything there any more
    walk.removeCopy();
  }
  return run.result();
}

}  // namespace QVFoundation::detail
