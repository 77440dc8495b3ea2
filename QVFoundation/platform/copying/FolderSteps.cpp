#include <cerrno>
#include <utility>
#include <vector>

#include "QVFoundation/platform/copying/FolderSteps_p.h"
#include "QVFoundation/platform/copying/ItemMetadata_p.h"

namespace QVFoundation::detail {

bool FolderStartStep::finish(CopyBuffer& /*buffer*/) {
  return run_.tell(CopyItem::folder, CopyStage::start, source_);
}

bool FolderFinishStep::finish(CopyBuffer& /*buffer*/) {
  struct stat status{};
  if (systemCalls().stat(source_.number(), &status) != 0) return run_.fail(CopyItem::folder, path_, errno);
  std::vector<CopyLoss> losses;
  const ItemMetadata metadata(ItemHandle(source_.number()), status, path_, losses);
  metadata.applyTo(ItemHandle(folder_->number()), path_, losses);
  run_.addLosses(std::move(losses));
  ++run_.report().folders;
  return run_.tell(CopyItem::folder, CopyStage::finish, path_);
}

}  // namespace QVFoundation::detail
