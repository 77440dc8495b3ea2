#include <cerrno>
#include <utility>

#include "QVFoundation/platform/copying/SpecialItemStep_p.h"

namespace QVFoundation::detail {

bool SpecialItemStep::finish(CopyBuffer& /*buffer*/) {
  const std::string& source = target_.source;
  if (!run_.tell(CopyItem::file, CopyStage::start, source)) return false;
  if (const int code = make(); code != 0) return run_.fail(CopyItem::file, source, code);
  const ItemHandle item(target_.folder->number(), target_.name.c_str());
  if (target_.isRoot && !S_ISLNK(metadata_.status().st_mode)) removeAccessList(item);
  metadata_.applyTo(item, source, losses_);
  struct stat made{};
  const bool isKnown = item.status(made) == 0;
  if (isKnown && target_.isRoot) run_.setRoot(made);
  if (isKnown && metadata_.status().st_nlink > 1) {
    run_.hardLinks.setMade(metadata_.status(), made, run_.below(source));
  }
  run_.addLosses(std::move(losses_));
  ++run_.report().others;
  const std::int64_t size = metadata_.status().st_size;
  if (size > 0 && !run_.tell(CopyItem::data, CopyStage::progress, source, size)) return false;
  return run_.tell(CopyItem::file, CopyStage::finish, source);
}

int SpecialItemStep::make() const {
  const int folder = target_.folder->number();
  const char* const name = target_.name.c_str();
  const struct stat& status = metadata_.status();
  const int result = uninterrupted([&] {
    if (S_ISLNK(status.st_mode)) return systemCalls().makeLink(text_.c_str(), folder, name);
    const mode_t mode = (status.st_mode & S_IFMT) | S_IRUSR | S_IWUSR;
    return systemCalls().makeNode(folder, name, mode, status.st_rdev);
  });
  return result == 0 ? 0 : errno;
}

}  // namespace QVFoundation::detail
