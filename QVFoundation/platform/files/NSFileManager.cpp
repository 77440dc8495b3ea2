#include "QVFoundation/platform/files/NSFileManager.h"

#include <cerrno>
#include <cstdio>
#include <utility>

#include "QVFoundation/platform/copying/CopyEngine_p.h"
#include "QVFoundation/platform/files/DirectoryWalk_p.h"
#include "QVFoundation/platform/files/ExclusiveRename_p.h"
#include "QVFoundation/platform/files/FileErrors_p.h"
#include "QVFoundation/platform/files/FileLocation_p.h"
#include "QVFoundation/platform/files/FileStatus_p.h"
#include "QVFoundation/platform/files/PathComponentReader_p.h"
#include "QVFoundation/platform/files/TreeRemoval_p.h"
#include "QVFoundation/platform/files/WaitingFile_p.h"
#include "QVFoundation/platform/runtime/NSClass.h"

namespace QVFoundation {

using detail::FileLocation;
using detail::FollowLinks;

namespace {

constexpr mode_t everybody = 0777;

void reportReadError(std::optional<NSError>* error, PathView path, int code) {
  if (error != nullptr) *error = detail::fileReadError(path, code);
}

bool succeeds(int code, PathView path, std::string_view action, std::optional<NSError>* error) {
  if (code != 0 && error != nullptr) *error = detail::fileWriteError(path, action, code);
  return code == 0;
}

bool isFolder(const FileLocation& location) {
  struct statx status{};
  return location.status(FollowLinks::yes, STATX_TYPE, status) == 0 && detail::isDirectory(status);
}

/// Creates each folder on the way that is missing, each in the one above it. 0, or an `errno`.
int createFolders(PathView path) {
  const std::string_view text = path;
  detail::Descriptor above;
  for (std::size_t begin = 0; begin < text.size();) {
    const bool isRoot = text[begin] == '/';
    const std::size_t end = isRoot ? text.find_first_not_of('/') : text.find('/', begin);
    const FileLocation next(above.isOpen() ? above.number() : AT_FDCWD,
                            isRoot ? "/" : std::string(text.substr(begin, end - begin)));
    detail::Descriptor folder = next.open(O_PATH | O_DIRECTORY);
    if (!folder.isOpen() && errno == ENOENT) {
      if (next.makeFolder(everybody) != 0 && errno != EEXIST) return errno;
      folder = next.open(O_PATH | O_DIRECTORY);
    }
    if (!folder.isOpen()) return errno;
    above = std::move(folder);
    begin = isRoot ? end : text.find_first_not_of('/', end);
  }
  return 0;
}

/// Copies an item whole, or not at all. 0, or an `errno` and the path of what failed.
int copyAll(PathView path, PathView toPath, CopyFlushPolicy flushPolicy, std::string& failed) {
  bool hasBegun = false;
  const auto callback = [&](const detail::CopyEvent& event) {
    if (event.stage == detail::CopyStage::error) failed = event.source;
    hasBegun = hasBegun || event.stage == detail::CopyStage::start;
    return detail::CopyAnswer::goOn;
  };
  CopyReport report;
  const detail::CopyOptions options{
      .method = detail::CopyMethod::clone, .flushPolicy = flushPolicy, .keepsParts = false};
  const int code = detail::copyItem(path, toPath, options, callback, report);
  if (code == EEXIST && !hasBegun) failed = toPath;
  return code;
}

std::string transferAction(int code, std::string_view action, PathView toPath) {
  if (code == EEXIST) return "replaced";
  return std::string(action) + " to \"" + std::string(toPath) + '"';
}

}  // namespace

const std::shared_ptr<NSFileManager>& NSFileManager::defaultManager() {
  static const auto& manager = *new std::shared_ptr<NSFileManager>(std::make_shared<NSFileManager>());
  return manager;
}

const NSClass& NSFileManager::staticClass() {
  static const NSClass& cls =
      *new NSClass(NSClass::define<NSFileManager>("NSFileManager", NSObject::staticClass()));
  return cls;
}

bool NSFileManager::fileExistsAtPath(PathView path, bool* isDirectory) const {
  struct statx status{};
  const bool exists = FileLocation(path).status(FollowLinks::yes, STATX_TYPE, status) == 0;
  if (isDirectory != nullptr) *isDirectory = exists && detail::isDirectory(status);
  return exists;
}

std::optional<NSFileAttributes> NSFileManager::attributesOfItemAtPath(PathView path,
                                                                      std::optional<NSError>* error) const {
  struct statx status{};
  if (FileLocation(path).status(FollowLinks::no, detail::attributesMask, status) == 0) {
    return detail::attributesOfStatus(status);
  }
  reportReadError(error, path, errno);
  return {};
}

std::optional<std::filesystem::path> NSFileManager::destinationOfSymbolicLinkAtPath(
    PathView path, std::optional<NSError>* error) const {
  std::string text;
  if (FileLocation(path).readLink(text) == 0) return text;
  reportReadError(error, path, errno);
  return {};
}

std::optional<std::vector<std::string>> NSFileManager::contentsOfDirectoryAtPath(
    PathView path, std::optional<NSError>* error) const {
  using Walk = detail::DirectoryWalk;
  Walk walk(FileLocation(path), path, Walk::Links::rootOnly);
  std::vector<std::string> names;
  for (Walk::Event event = walk.next(); event != Walk::Event::left; event = walk.next()) {
    if (event == Walk::Event::unreadable) {
      reportReadError(error, path, walk.error());
      return {};
    }
    names.emplace_back(walk.name());
    walk.skip();
  }
  return names;
}

NSDirectoryEnumerator NSFileManager::enumeratorAtPath(
    PathView path, NSDirectoryEnumerator::ErrorHandler errorHandler) const {
  return NSDirectoryEnumerator(path, std::move(errorHandler));
}

bool NSFileManager::createDirectoryAtPath(PathView path, WithIntermediateDirectories intermediates,
                                          std::optional<NSError>* error) const {
  const FileLocation location(path);
  int code = location.makeFolder(everybody) == 0 ? 0 : errno;
  if (intermediates == WithIntermediateDirectories::yes) {
    if (code == ENOENT && !path.empty()) code = createFolders(path);
    if (code != 0 && isFolder(location)) code = 0;
  }
  return succeeds(code, path, "created", error);
}

bool NSFileManager::removeItemAtPath(PathView path, std::optional<NSError>* error,
                                     ReadOnlyFolders readOnlyFolders) const {
  // A slash at the end would have the system follow a link.
  const std::string_view item = detail::withoutFinalSlashes(path);
  std::string failed;
  const auto closedFolders = readOnlyFolders == ReadOnlyFolders::remove ? detail::ClosedFolders::areOpened
                                                                        : detail::ClosedFolders::stay;
  const int code = detail::removeTree(FileLocation(item), item, failed, closedFolders);
  return succeeds(code, failed, "removed", error);
}

bool NSFileManager::copyItemAtPath(PathView path, PathView toPath, std::optional<NSError>* error) const {
  std::string failed;
  const int code = copyAll(path, toPath, CopyFlushPolicy::cached, failed);
  return succeeds(code, failed, transferAction(code, "copied", toPath), error);
}

bool NSFileManager::moveItemAtPath(PathView path, PathView toPath, std::optional<NSError>* error) const {
  std::string failed(path);
  int code = detail::renameWithoutReplacing(FileLocation(path), FileLocation(toPath));
  // On the device before the source goes.
  if (code == EXDEV) {
    code = copyAll(path, toPath, CopyFlushPolicy::written, failed);
    if (code == 0) return removeItemAtPath(path, error, ReadOnlyFolders::remove);
  }
  if (code == EEXIST) failed = toPath;
  return succeeds(code, failed, transferAction(code, "moved", toPath), error);
}

NSFileManager::Replacement NSFileManager::replaceItemAtPath(PathView path, PathView withItemAtPath,
                                                            std::optional<NSError>* error) const {
  const auto removeOldItem = [&](PathView oldItem) {
    return removeItemAtPath(oldItem, error, ReadOnlyFolders::remove) ? Replacement::done
                                                                     : Replacement::leftOldItem;
  };
  const auto fail = [&](int code, PathView failed) {
    static_cast<void>(succeeds(code, failed, "replaced", error));
    return Replacement::failed;
  };
  const FileLocation place(path);
  const FileLocation item(withItemAtPath);
  if (item.renameTo(place, RENAME_EXCHANGE) == 0) return removeOldItem(withItemAtPath);
  if (errno != EINVAL && errno != ENOSYS) return fail(errno, path);

  const std::string_view text = detail::withoutFinalSlashes(path);
  const std::size_t nameOffset = text.rfind('/') + 1;
  const std::string aside =
      std::string(text.substr(0, nameOffset)) + detail::waitingName(text.substr(nameOffset));
  int code = detail::renameWithoutReplacing(place, FileLocation(aside));
  if (code != 0) return fail(code, path);
  code = detail::renameWithoutReplacing(item, place);
  if (code == 0) return removeOldItem(aside);
  const bool isBack = detail::renameWithoutReplacing(FileLocation(aside), place) == 0;
  return fail(code, isBack ? path : PathView(aside));
}

}  // namespace QVFoundation
