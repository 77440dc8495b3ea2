#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <string>
#include <utility>

#include "QVFoundation/platform/copying/CopyEngine_p.h"
#include "QVFoundation/platform/copying/CopyRun_p.h"
#include "QVFoundation/platform/copying/FileStep_p.h"
#include "QVFoundation/platform/copying/OtherSteps_p.h"
#include "QVFoundation/platform/files/DirectoryWalk_p.h"
#include "QVFoundation/platform/files/FileStatus_p.h"
#include "QVFoundation/platform/files/PathComponentReader_p.h"

namespace QVFoundation::detail {

namespace {

int statusOf(const FileLocation& location, struct stat& status) noexcept {
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

/// One copy: goes through the source, and has the queue do what is to be done.
class CopyWalk {
public:
  CopyWalk(CopyRun& run, std::string_view source, std::string_view destination)
      : run_(run), source_(source), destination_(destination) {}

  void copy() {
    const FileLocation location{PathView(source_)};
    struct stat status{};
    if (const int code = statusOf(location, status); code != 0) return failRoot(code);
    const bool isFolder = S_ISDIR(status.st_mode);
    if (isFolder) rootItem_ = CopyItem::folder;
    if (const int code = openParent(status); code != 0) return failRoot(code);
    const bool isDone =
        isFolder ? copyFolder()
                 : copyItem(location.folder(), location.name(), fileTypeOfMode(status.st_mode), rootTarget());
    if (!isDone || !run_.queue.finishAll()) return;
    if (run_.options.flushPolicy == CopyFlushPolicy::cached) return;
    const OpenFolders::Folder& folder = run_.rootFolder != nullptr ? run_.rootFolder : parent_;
    if (const int code = run_.syncVolume(folder->number()); code != 0) failRoot(code);
  }

private:
  void failRoot(int code) { run_.fail(rootItem_, source_, code); }

  /// The folder that the copy comes into, unless there is something already.
  int openParent(const struct stat& source) {
    const std::size_t nameOffset = destination_.rfind('/') + 1;
    name_ = destination_.substr(nameOffset);
    const FileLocation place(nameOffset == 0 ? std::string_view(".")
                                             : std::string_view(destination_).substr(0, nameOffset));
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

  [[nodiscard]] CopyTarget rootTarget() const {
    return {.source = source_, .folder = parent_, .name = name_, .isRoot = true};
  }

  template <class Step, class... Args>
  bool add(Args&&... args) {
    return run_.queue.add(std::make_unique<Step>(run_, std::forward<Args>(args)...));
  }
  bool addFailure(CopyItem item, std::string path, int code) {
    return add<FailureStep>(item, std::move(path), code) && run_.queue.finishAll();
  }

  bool copyFolder() {
    run_.keepRoom();
    if (!enter(FileLocation(parent_->number(), name_), source_)) return false;
    run_.rootFolder = folders_.current();
    removeAccessLists(ItemHandle(run_.rootFolder->number()));

    DirectoryWalk walk(FileLocation(PathView(source_)), source_, DirectoryWalk::Links::items);
    for (;;) {
      const DirectoryWalk::Event event = walk.next();
      if (event == DirectoryWalk::Event::end) return true;
      if (!take(walk, event)) return false;
    }
  }

  bool take(const DirectoryWalk& walk, DirectoryWalk::Event event) {
    std::string path(walk.path());
    switch (event) {
      case DirectoryWalk::Event::item:
        return copyItem(walk.folder(), walk.name(), walk.type(),
                        {.source = std::move(path), .folder = folders_.current(), .name = walk.name()});
      case DirectoryWalk::Event::directory: return enterFrom(walk, std::move(path));
      case DirectoryWalk::Event::unreadable:
        return addFailure(CopyItem::folder, std::move(path), walk.error());
      case DirectoryWalk::Event::left: return leave(walk, std::move(path));
      case DirectoryWalk::Event::end: break;
    }
    return true;
  }

  bool enterFrom(const DirectoryWalk& walk, std::string path) {
    struct stat status{};
    if (walk.status(status) != 0) return addFailure(CopyItem::folder, std::move(path), errno);
    // There are ways into the source that no path shows, such as a second mount.
    if (ItemIdentity::of(status) == folders_.root())
      return addFailure(CopyItem::folder, std::move(path), EINVAL);
    return enter(FileLocation(folders_.current()->number(), walk.name()), std::move(path));
  }

  bool enter(const FileLocation& location, std::string path) {
    const int code = folders_.make(location);
    if (code != 0) return addFailure(CopyItem::folder, std::move(path), code);
    return add<FolderStartStep>(std::move(path));
  }

  bool leave(const DirectoryWalk& walk, std::string path) {
    const OpenFolders::Folder folder = folders_.current();
    Descriptor source = openWithRoom(walk.folder(), walk.name(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
    int code = source.isOpen() ? 0 : errno;
    if (code == 0) code = folders_.leave();
    if (code != 0) return addFailure(CopyItem::folder, std::move(path), code);
    return add<FolderFinishStep>(std::move(path), folder, std::move(source));
  }

  bool copyItem(int folder, const char* name, NSFileType type, CopyTarget target) {
    struct stat status{};
    auto step = stepFor(folder, name, type, target, status);
    if (step == nullptr) return addFailure(CopyItem::file, target.source, errno);
    if (status.st_nlink < 2 || target.isRoot || !run_.hardLinks.meet(status, run_.below(target.source))) {
      return run_.queue.add(std::move(step));
    }
    return add<HardLinkStep>(std::move(target), status, std::move(step));
  }

  // What an item is may have changed since its folder was read. Null with `errno` where it cannot be had.
  std::unique_ptr<CopyStep> stepFor(int folder, const char* name, NSFileType type, const CopyTarget& target,
                                    struct stat& status) {
    if (type == NSFileType::regular) return fileStepFor(folder, name, target, status);
    if (ItemHandle(folder, name).status(status) != 0) return nullptr;
    if (S_ISREG(status.st_mode)) return fileStepFor(folder, name, target, status);
    if (!S_ISDIR(status.st_mode)) return specialStepFor(folder, name, target, status);
    errno = EISDIR;
    return nullptr;
  }

  std::unique_ptr<CopyStep> fileStepFor(int folder, const char* name, const CopyTarget& target,
                                        struct stat& status) {
    Descriptor source = openSource(folder, name);
    if (!source.isOpen() || systemCalls().stat(source.number(), &status) != 0) return nullptr;
    if (S_ISREG(status.st_mode)) {
      return std::make_unique<FileStep>(run_, target, std::move(source), status);
    }
    errno = ESTALE;
    return nullptr;
  }

  std::unique_ptr<CopyStep> specialStepFor(int folder, const char* name, const CopyTarget& target,
                                           const struct stat& status) {
    std::string text;
    if (S_ISLNK(status.st_mode) && FileLocation(folder, name).readLink(text) != 0) return nullptr;
    std::vector<CopyLoss> losses;
    ItemMetadata metadata(ItemHandle(folder, name), status, target.source, losses);
    return std::make_unique<SpecialItemStep>(run_, target, std::move(metadata), std::move(text),
                                             std::move(losses));
  }

  /// Not waiting for whoever writes to a pipe that may have come into its place; and, where that is allowed,
  /// without a note of when it was read.
  Descriptor openSource(int folder, const char* name) {
    constexpr int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK;
    if (CopyAbilities::can(run_.abilities.quietReads)) {
      Descriptor source = openWithRoom(folder, name, flags | O_NOATIME);
      if (source.isOpen() || errno != EPERM) return source;
      CopyAbilities::refuse(run_.abilities.quietReads);
    }
    return openWithRoom(folder, name, flags);
  }

  /// Steps that wait hold open files; where there are too many, they come first.
  Descriptor openWithRoom(int folder, const char* name, int flags) {
    const FileLocation location(folder, name);
    Descriptor opened = location.open(flags);
    if (opened.isOpen() || errno != EMFILE || !run_.queue.finishAll()) return opened;
    return location.open(flags);
  }

  CopyRun& run_;
  const std::string source_;
  const std::string destination_;
  CopyItem rootItem_ = CopyItem::file;
  OpenFolders::Folder parent_;
  std::string name_;
  OpenFolders folders_{[this] { return run_.queue.finishAll(); }};
};

}  // namespace

int copyItem(PathView source, PathView destination, const CopyOptions& options, const CopyCallback& callback,
             CopyReport& report) {
  CopyRun run(source, destination, options, callback, report);
  CopyWalk(run, withoutFinalSlashes(source), withoutFinalSlashes(destination)).copy();
  return run.result();
}

}  // namespace QVFoundation::detail
