#include <utility>

#include "QVFoundation/platform/copying/FolderSteps_p.h"

namespace QVFoundation::detail {

bool FolderStartStep::finish(CopyBuffer& /*buffer*/) {
  return run_.tell(CopyItem::folder, CopyStage::start, source_);
}

bool FolderFinishStep::finish(CopyBuffer& /*buffer*/) {
  metadata_.applyTo(ItemHandle(folder_->number()), path_, losses_);
  run_.addLosses(std::move(losses_));
  ++run_.report().folders;
  return run_.tell(CopyItem::folder, CopyStage::finish, path_);
}

}  // namespace QVFoundation::detail
