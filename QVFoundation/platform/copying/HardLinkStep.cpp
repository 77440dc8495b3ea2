#include <cerrno>
#include <fcntl.h>
#include <string_view>

#include "QVFoundation/platform/copying/HardLinkStep_p.h"
#include "QVFoundation/platform/copying/ItemHandle_p.h"

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

bool HardLinkStep::finish(CopyBuffer& buffer) {
  int code = link();
  if (meansTooManyOpen(code)) {
    run_.queue.prepareAll();
    run_.makeRoom();
    code = link();
    run_.keepRoom();
  }
  if (code != 0) {
    run_.addLosses(
        {{.path = target_.source, .kind = CopyLoss::Kind::hardLink, .attribute = {}, .code = code}});
    if (otherwise_->canBePrepared()) otherwise_->prepare(buffer);
    return otherwise_->finish(buffer);
  }
  run_.hardLinks.countName(status_);
  if (!run_.tell(CopyItem::file, CopyStage::start, target_.source)) return false;
  ++run_.report().linked.files;
  run_.report().linked.bytes += static_cast<std::uint64_t>(status_.st_size);
  if (status_.st_size > 0 &&
      !run_.tell(CopyItem::data, CopyStage::progress, target_.source, status_.st_size)) {
    return false;
  }
  return run_.tell(CopyItem::file, CopyStage::finish, target_.source);
}

/// 0, or an `errno`.
int HardLinkStep::link() const {
  const auto first = run_.hardLinks.place(status_);
  if (!first) return ENOENT;
  const std::size_t slash = first->path.rfind('/');
  const Descriptor folder =
      openBelow(run_.rootFolder->number(), std::string_view(first->path).substr(0, slash));
  if (!folder.isOpen()) return errno;
  const FileLocation name(target_.folder->number(), target_.name);
  if (FileLocation(folder.number(), first->path.substr(slash + 1)).linkTo(name) != 0) return errno;
  struct stat made{};
  const ItemHandle item(name.folder(), name.name());
  if (item.status(made) == 0 && ItemIdentity::of(made) == first->identity) return 0;
  static_cast<void>(name.remove(0));  // somebody has put another item in the place of the first
  return ESTALE;
}

}  // namespace QVFoundation::detail
