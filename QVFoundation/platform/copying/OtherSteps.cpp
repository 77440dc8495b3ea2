#include <cerrno>
#include <fcntl.h>
#include <utility>

#include "QVFoundation/platform/copying/OtherSteps_p.h"
#include "QVFoundation/platform/files/PathComponentReader_p.h"

namespace QVFoundation::detail {

namespace {

/// A folder below another, with no link on the way.
Descriptor openBelow(int root, std::string_view path) {
  Descriptor folder = FileLocation(root, ".").open(O_PATH | O_DIRECTORY);
  while (folder.isOpen() && !path.empty()) {
    path.remove_prefix(1);  // the slash
    const std::string_view name = path.substr(0, path.find('/'));
    folder = FileLocation(folder.number(), std::string(name)).open(O_PATH | O_DIRECTORY | O_NOFOLLOW);
    path.remove_prefix(name.size());
  }
  return folder;
}

}  // namespace

bool SpecialItemStep::finish(CopyBuffer& /*buffer*/) {
  const std::string& source = target_.source;
  if (!run_.tell(CopyItem::file, CopyStage::start, source)) return false;
  if (const int code = make(); code != 0) return run_.fail(CopyItem::file, source, code);
  const ItemHandle item(target_.folder->number(), target_.name.c_str());
  if (target_.isRoot && !S_ISLNK(metadata_.status().st_mode)) removeAccessList(item);
  metadata_.applyTo(item, source, losses_);
  struct stat made{};
  if (metadata_.status().st_nlink > 1 && item.status(made) == 0) {
    run_.hardLinks.setMade(metadata_.status(), made);
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

bool HardLinkStep::finish(CopyBuffer& buffer) {
  if (!link()) {
    if (otherwise_->canBePrepared()) otherwise_->prepare(buffer);
    return otherwise_->finish(buffer);
  }
  if (!run_.tell(CopyItem::file, CopyStage::start, target_.source)) return false;
  ++run_.report().linked.files;
  run_.report().linked.bytes += static_cast<std::uint64_t>(status_.st_size);
  if (status_.st_size > 0 &&
      !run_.tell(CopyItem::data, CopyStage::progress, target_.source, status_.st_size)) {
    return false;
  }
  return run_.tell(CopyItem::file, CopyStage::finish, target_.source);
}

bool HardLinkStep::link() const {
  const HardLinks::Place first = run_.hardLinks.takePlace(status_);
  if (first.path.empty()) return false;
  const std::size_t slash = first.path.rfind('/');
  const Descriptor folder =
      openBelow(run_.rootFolder->number(), std::string_view(first.path).substr(0, slash));
  if (!folder.isOpen()) return false;
  const FileLocation name(target_.folder->number(), target_.name);
  if (FileLocation(folder.number(), first.path.substr(slash + 1)).linkTo(name) != 0) return false;
  struct stat made{};
  const ItemHandle item(name.folder(), name.name());
  if (item.status(made) == 0 && ItemIdentity::of(made) == first.identity) return true;
  static_cast<void>(name.remove(0));  // somebody has put another item in the place of the first
  return false;
}

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
