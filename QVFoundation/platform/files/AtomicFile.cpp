#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/files/AtomicFile_p.h"
#include "QVFoundation/platform/files/ExclusiveRename_p.h"
#include "QVFoundation/platform/files/FileStatus_p.h"
#include "QVFoundation/platform/files/WaitingFile_p.h"

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

constexpr const char* accessList = "system.posix_acl_access";

/// Of what a call has filled; nothing where it failed.
std::size_t sizeOf(ssize_t result) noexcept { return result < 0 ? 0 : static_cast<std::size_t>(result); }

bool copyAttribute(const std::string& from, const std::string& to, const char* name) {
  const ssize_t size = systemCalls().getAttribute(from.c_str(), name, nullptr, 0);
  if (size < 0) return false;
  std::vector<std::byte> value(sizeOf(size));
  const ssize_t read = systemCalls().getAttribute(from.c_str(), name, value.data(), value.size());
  if (read < 0) return false;
  return systemCalls().setAttribute(to.c_str(), name, value.data(), sizeOf(read), 0) == 0;
}

/// Those of programs, as far as that is possible, and who may do what. False where that was said by an
/// access list that could not be copied.
bool copyAttributes(const std::string& from, const std::string& to) {
  std::string names(sizeOf(systemCalls().listAttributes(from.c_str(), nullptr, 0)), '\0');
  names.resize(sizeOf(systemCalls().listAttributes(from.c_str(), names.data(), names.size())));
  for (std::size_t at = 0; at < names.size(); at += std::string_view(names.c_str() + at).size() + 1) {
    const char* const name = names.c_str() + at;
    if (std::string_view(name).starts_with("user.")) copyAttribute(from, to, name);
  }
  const bool hasList = systemCalls().getAttribute(from.c_str(), accessList, nullptr, 0) >= 0;
  if (hasList) return copyAttribute(from, to, accessList);
  // The folder may have one for new files.
  static_cast<void>(systemCalls().removeAttribute(to.c_str(), accessList));
  return true;
}

}  // namespace

AtomicFile::AtomicFile(PathView path, Existing existing) : existing_(existing) {
  std::string target(path);
  if (existing == Existing::replace) target = pathBehindLinks(std::move(target));
  const std::string_view folder = folderOfPath(target);
  const FileLocation place(folder.empty() ? std::string_view(".") : folder);
  folder_ = place.open(O_RDONLY | O_DIRECTORY);
  if (!folder_.isOpen()) folder_ = place.open(O_PATH | O_DIRECTORY);  // one that may only be written to
  if (!folder_.isOpen()) error_ = errno;
  name_ = target.substr(folder.size());
}

int AtomicFile::open(mode_t mode) {
  if (error_ != 0) return error_;
  struct statx replaced{};
  const FileLocation target(folder_.number(), name_);
  const bool exists = target.status(FollowLinks::no, STATX_BASIC_STATS, replaced) == 0;
  if (!exists && errno != ENOENT) return errno;
  if (exists && existing_ == Existing::refuse) return EEXIST;
  if (exists && !S_ISREG(replaced.stx_mode)) return isDirectory(replaced) ? EISDIR : EINVAL;

  // What will replace a file that few may read is at no time for all to read.
  file_ = waiting_.open(folder_.number(), name_, exists ? S_IRUSR | S_IWUSR : mode);
  if (!file_.isOpen()) return errno;
  return exists ? takeAttributes(target, replaced) : 0;
}

int AtomicFile::takeAttributes(const FileLocation& target, const struct statx& replaced) const {
  const auto change = [&](uid_t owner, gid_t group) {
    return uninterrupted([&] { return systemCalls().changeOwner(file_.number(), owner, group); }) == 0;
  };
  constexpr auto same = static_cast<uid_t>(-1);
  const bool keepsOwner = change(replaced.stx_uid, replaced.stx_gid);
  const bool keepsGroup = keepsOwner || change(same, replaced.stx_gid);
  const bool keepsAccessList =
      copyAttributes(target.pathWithoutFolder(), waiting_.location().pathWithoutFolder());

  // What it may do as its owner, it may do only as that owner; and where another group would have what was
  // meant for the old one, none has it.
  mode_t mode = replaced.stx_mode & (keepsOwner ? 07777 : 0777);
  if (!keepsGroup || !keepsAccessList) mode &= ~mode_t{S_IRWXG};
  struct stat status{};
  if (systemCalls().stat(file_.number(), &status) == 0 && (status.st_mode & 07777) == mode) return 0;
  return uninterrupted([&] { return systemCalls().changeMode(file_.number(), mode); }) == 0 ? 0 : errno;
}

int AtomicFile::commit() {
  if (uninterrupted([&] { return systemCalls().sync(file_.number()); }) != 0) return errno;
  // Some file systems say only now that they could not keep what they took (close(2)).
  if (systemCalls().close(file_.release()) != 0 && errno != EINTR) return errno;
  const FileLocation target(folder_.number(), name_);
  int code = 0;
  if (existing_ == Existing::refuse) {
    code = renameWithoutReplacing(waiting_.location(), target);
  } else if (waiting_.location().renameTo(target, 0) != 0) {
    code = errno;
  }
  if (code != 0) return code;
  waiting_.forget();
  // From here on the file is there; a folder that cannot be synchronized does not undo that.
  static_cast<void>(uninterrupted([&] { return systemCalls().sync(folder_.number()); }));
  return 0;
}

}  // namespace QVFoundation::detail
