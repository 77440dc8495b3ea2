#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "QVFoundation/platform/copying/CopyWalk_p.h"
#include "QVFoundation/platform/copying/FailureStep_p.h"
#include "QVFoundation/platform/copying/FolderSteps_p.h"
#include "QVFoundation/platform/copying/ItemMetadata_p.h"
#include "QVFoundation/platform/files/FileStatus_p.h"
#include "QVFoundation/platform/files/TreeRemoval_p.h"

namespace QVFoundation::detail {

namespace {

int statusOf(const FileLocation& location, struct stat& status) {
  if (location.error() != 0) return location.error();
  return ItemHandle(location.folder(), location.name()).status(status) == 0 ? 0 : errno;
}

/// Whether a folder is another one, or is in it however deep. The way up is asked for, not the path.
bool isInside(const Descriptor& folder, const ItemIdentity& other) {
  struct stat status{};
  if (systemCalls().stat(folder.number(), &status) != 0) return false;
  Descriptor above;
  for (ItemIdentity current = ItemIdentity::of(status); current != other;) {
    const int number = above.isOpen() ? above.number() : folder.number();
    Descriptor next = FileLocation(number, "..").open(O_PATH | O_DIRECTORY);
    if (!next.isOpen() || systemCalls().stat(next.number(), &status) != 0) return false;
    if (ItemIdentity::of(status) == current) return false;  // the root
    current = ItemIdentity::of(status);
    above = std::move(next);
  }
  return true;
}

}  // namespace

void CopyWalk::copy() {
  const auto failRoot = [this](int code) { run_.fail(rootItem_, source_, code); };
  const FileLocation location{PathView(source_)};
  struct stat status{};
  if (const int code = statusOf(location, status); code != 0) return failRoot(code);
  const bool isFolder = S_ISDIR(status.st_mode);
  if (isFolder) rootItem_ = CopyItem::folder;
  if (const int code = openParent(status); code != 0) return failRoot(code);
  const bool isDone = isFolder
                          ? copyFolder()
                          : copyItem(location.folder(), location.name(), fileTypeOfMode(status.st_mode),
                                     {.source = source_, .folder = parent_, .name = name_, .isRoot = true});
  if (!isDone || !run_.queue.finishAll()) return;
  if (run_.options.flushPolicy == CopyFlushPolicy::cached) return;
  const OpenFolders::Folder& folder = run_.rootFolder != nullptr ? run_.rootFolder : parent_;
  const int code = run_.syncVolume(folder->number());
  // A folder that may not be read cannot be synchronized; what has come into it is.
  if (code != 0 && (code != EBADF || isFolder)) failRoot(code);
}

void CopyWalk::removeCopy() {
  if (parent_ == nullptr || !run_.root()) return;
  const FileLocation copy(parent_->number(), name_);
  struct stat status{};
  if (statusOf(copy, status) != 0 || ItemIdentity::of(status) != *run_.root()) return;
  std::string failed;
  static_cast<void>(
      removeTree(FileLocation(parent_->number(), name_), destination_, failed, ClosedFolders::areOpened));
}

/// 0, or why nothing can be copied there, such as that there is something already.
int CopyWalk::openParent(const struct stat& source) {
  if (destination_ == "/") return EEXIST;
  const std::size_t nameOffset = destination_.rfind('/') + 1;
  name_ = destination_.substr(nameOffset);
  const std::string_view path = std::string_view(destination_).substr(0, nameOffset);
  const FileLocation place(path.empty() ? std::string_view(".") : path);
  Descriptor folder = place.open(O_RDONLY | O_DIRECTORY);
  if (!folder.isOpen()) folder = place.open(O_PATH | O_DIRECTORY);  // one that may only be written to
  if (!folder.isOpen()) return errno;
  struct stat existing{};
  const int code = statusOf(FileLocation(folder.number(), name_), existing);
  if (code != ENOENT) return code == 0 ? EEXIST : code;
  if (name_.empty()) return ENOENT;
  if (S_ISDIR(source.st_mode) && isInside(folder, ItemIdentity::of(source))) return EINVAL;
  parent_ = std::make_shared<const Descriptor>(std::move(folder));
  return 0;
}

bool CopyWalk::copyFolder() {
  run_.keepRoom();
  if (!enter(FileLocation(parent_->number(), name_), source_)) return false;
  run_.rootFolder = folders_.current();
  run_.setRoot(folders_.root());
  removeAccessLists(ItemHandle(run_.rootFolder->number()));

  DirectoryWalk walk(FileLocation(PathView(source_)), source_, DirectoryWalk::Links::items);
  for (;;) {
    const DirectoryWalk::Event event = walk.next();
    if (event == DirectoryWalk::Event::end) return true;
    if (!take(walk, event)) return false;
  }
}

bool CopyWalk::take(const DirectoryWalk& walk, DirectoryWalk::Event event) {
  std::string path(walk.path());
  switch (event) {
    case DirectoryWalk::Event::item:
      return copyItem(walk.folder(), walk.name(), walk.type(),
                      {.source = std::move(path), .folder = folders_.current(), .name = walk.name()});
    case DirectoryWalk::Event::directory: return enterFrom(walk, std::move(path));
    case DirectoryWalk::Event::unreadable: return addFailure(CopyItem::folder, std::move(path), walk.error());
    case DirectoryWalk::Event::left: return leave(walk, std::move(path));
    case DirectoryWalk::Event::end: break;
  }
  return true;
}

bool CopyWalk::copyItem(int folder, const char* name, NSFileType type, CopyTarget target) {
  std::string path = target.source;
  auto step = steps_.stepFor(folder, name, type, std::move(target));
  if (step == nullptr) return addFailure(CopyItem::file, std::move(path), errno);
  return run_.queue.add(std::move(step));
}

bool CopyWalk::enterFrom(const DirectoryWalk& walk, std::string path) {
  struct stat status{};
  int code = walk.status(status) == 0 ? 0 : errno;
  // There are ways into the source that no path shows, such as a second mount; and folders may be moved.
  if (code == 0 && folders_.contain(ItemIdentity::of(status))) code = EINVAL;
  if (code != 0) return addFailure(CopyItem::folder, std::move(path), code);
  static_cast<void>(steps_.open(walk.folder(), walk.name(), O_PATH));  // leaves room for the walk to enter it
  return enter(FileLocation(folders_.current()->number(), walk.name()), std::move(path));
}

bool CopyWalk::enter(const FileLocation& location, std::string path) {
  const int code = folders_.make(location);
  if (code != 0) return addFailure(CopyItem::folder, std::move(path), code);
  return add<FolderStartStep>(std::move(path));
}

bool CopyWalk::leave(const DirectoryWalk& walk, std::string path) {
  // Of the one that was read, whatever has its name by now.
  const ItemHandle source(walk.opened());
  const OpenFolders::Folder folder = folders_.current();
  struct stat status{};
  int code = source.status(status) == 0 ? 0 : errno;
  if (code == 0) code = folders_.leave();
  if (code != 0) return addFailure(CopyItem::folder, std::move(path), code);
  std::vector<CopyLoss> losses;
  ItemMetadata metadata(source, status, path, losses);
  return add<FolderFinishStep>(std::move(path), folder, std::move(metadata), std::move(losses));
}

/// It is told of when its turn comes.
bool CopyWalk::addFailure(CopyItem item, std::string path, int code) {
  return add<FailureStep>(item, std::move(path), code) && run_.queue.finishAll();
}

}  // namespace QVFoundation::detail
