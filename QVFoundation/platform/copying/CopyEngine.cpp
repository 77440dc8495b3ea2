#include "QVFoundation/platform/copying/CopyEngine_p.h"
#include "QVFoundation/platform/copying/CopyRun_p.h"
#include "QVFoundation/platform/copying/CopyWalk_p.h"
#include "QVFoundation/platform/files/PathComponentReader_p.h"

namespace QVFoundation::detail {

int copyItem(PathView source, PathView destination, const CopyOptions& options, const CopyCallback& callback,
             CopyReport& report) {
  CopyRun run(source, destination, options, callback, report);
  CopyWalk(run, withoutFinalSlashes(source), withoutFinalSlashes(destination)).copy();
  return run.result();
}

}  // namespace QVFoundation::detail
