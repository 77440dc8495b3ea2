#include <climits>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string_view>

#include "QVFoundation/platform/files/AtomicFile_p.h"
#include "QVFoundation/platform/files/ExclusiveRename_p.h"
#include "QVFoundation/platform/files/FileStatus_p.h"

namespace QVFoundation::detail {

namespace {

constexpr int mostLinks = 40;  // as many as the system follows (path_resolution(7))

/// The path with a slash at its end, or nothing where it is but a name.
std::string_view folderOfPath(std::string_view path) { return path.substr(0, path.rfind('/') + 1); }

/// Where the last link on a chain of them leads, be there something or not.
std::string pathBehindLinks(std::string path) {
  std::string destination;
  for (int i = 0; i < mostLinks && FileLocation(path).readLink(destination) == 0; ++i) {
    path.resize(destination.starts_with('/') ? 0 : folderOfPath(path).size());
    path += destination;
  }
  return path;
}

std::string waitingName(std::string_view name) {
  constexpr std::size_t mostOfName = 100;  // leaves room below what a name may have, and is cut anywhere
  std::random_device random;
  const std::uint64_t number = (std::uint64_t{random()} << 32) | random();
  return '.' + std::string(name.substr(0, mostOfName)) + '.' + std::to_string(number);
}

}  // namespace

AtomicFile::AtomicFile(PathView path, Existing existing) : existing_(existing) {
  std::string target(path);
  if (existing == Existing::replace) target = pathBehindLinks(std::move(target));
  const std::string_view folder = folderOfPath(target);
  folder_ = FileLocation(folder.empty() ? std::string_view(".") : folder).open(O_RDONLY | O_DIRECTORY);
  if (!folder_.isOpen()) error_ = errno;
  name_ = target.substr(folder.size());
}

AtomicFile::~AtomicFile() {
  if (waiting_) static_cast<void>(waiting_->remove(0));
}

int AtomicFile::open() {
  if (error_ != 0) return error_;
  struct statx replaced{};
  const FileLocation target(folder_.number(), name_);
  const bool exists = target.status(FollowLinks::no, STATX_BASIC_STATS, replaced) == 0;
  if (!exists && errno != ENOENT) return errno;
  if (exists && existing_ == Existing::refuse) return EEXIST;
  if (exists && !S_ISREG(replaced.stx_mode)) return isDirectory(replaced) ? EISDIR : EINVAL;

  // What will replace a file that few may read is at no time for all to read.
  const mode_t mode = exists ? S_IRUSR | S_IWUSR : 0666;
  do {
    waiting_.emplace(folder_.number(), waitingName(name_));
    file_ = waiting_->open(O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, mode);
  } while (!file_.isOpen() && errno == EEXIST);
  if (!file_.isOpen()) {
    waiting_.reset();
    return errno;
  }
  return exists ? takeAttributes(replaced) : 0;
}

int AtomicFile::takeAttributes(const struct statx& replaced) const {
  const auto change = [&](uid_t owner, gid_t group) {
    return uninterrupted([&] { return systemCalls().changeOwner(file_.number(), owner, group); }) == 0;
  };
  constexpr auto same = static_cast<uid_t>(-1);
  const bool keepsOwner = change(replaced.stx_uid, replaced.stx_gid);
  if (!keepsOwner) change(same, replaced.stx_gid);
  // What it may do as its owner, it may do only as that owner.
  const mode_t mode = replaced.stx_mode & (keepsOwner ? 07777 : 0777);
  return uninterrupted([&] { return systemCalls().changeMode(file_.number(), mode); }) == 0 ? 0 : errno;
}

int AtomicFile::commit() {
  if (uninterrupted([&] { return systemCalls().sync(file_.number()); }) != 0) return errno;
  // Some file systems say only now that they could not keep what they took (close(2)).
  if (systemCalls().close(file_.release()) != 0 && errno != EINTR) return errno;
  const FileLocation target(folder_.number(), name_);
  int code = 0;
  if (existing_ == Existing::refuse) {
    code = renameWithoutReplacing(*waiting_, target);
  } else if (waiting_->renameTo(target, 0) != 0) {
    code = errno;
  }
  if (code != 0) return code;
  waiting_.reset();
  // From here on the file is there; a folder that cannot be synchronized does not undo that.
  static_cast<void>(uninterrupted([&] { return systemCalls().sync(folder_.number()); }));
  return 0;
}

}  // namespace QVFoundation::detail
