#include <algorithm>
#include <array>
#include <cstring>
#include <fcntl.h>

#include "QVFoundation/platform/files/Descriptor_p.h"
#include "QVFoundation/platform/files/FileIdentity_p.h"
#include "QVFoundation/platform/files/SystemCalls_p.h"

namespace QVFoundation::detail {

namespace {

/// The form in which the system reads and writes handles.
class HandleBuffer {
public:
  HandleBuffer() noexcept { handle()->handle_bytes = MAX_HANDLE_SZ; }
  explicit HandleBuffer(const FileHandle& content) noexcept {
    handle()->handle_type = content.type;
    handle()->handle_bytes = static_cast<unsigned>(content.bytes.size());
    std::ranges::copy(content.bytes, bytes());
  }

  [[nodiscard]] file_handle* handle() noexcept { return reinterpret_cast<file_handle*>(buffer_.data()); }
  [[nodiscard]] FileHandle content() noexcept {
    return {handle()->handle_type, {bytes(), bytes() + handle()->handle_bytes}};
  }

private:
  [[nodiscard]] std::byte* bytes() noexcept { return buffer_.data() + sizeof(file_handle); }

  alignas(file_handle) std::array<std::byte, sizeof(file_handle) + MAX_HANDLE_SZ> buffer_{};
};

}  // namespace

bool isSameItem(const FileIdentity& a, const FileIdentity& b) noexcept {
  if (a.inode != b.inode || a.type != b.type) return false;
  if (a.birth && b.birth) return *a.birth == *b.birth;
  return a.deviceMajor == b.deviceMajor && a.deviceMinor == b.deviceMinor;
}

std::optional<FileIdentity> identityOf(const FileLocation& item) noexcept {
  struct statx status{};
  if (item.status(FollowLinks::no, STATX_TYPE | STATX_INO | STATX_BTIME, status) != 0) return {};
  FileIdentity identity{.type = status.stx_mode & mode_t{S_IFMT},
                        .deviceMajor = status.stx_dev_major,
                        .deviceMinor = status.stx_dev_minor,
                        .inode = status.stx_ino,
                        .birth = {},
                        .handle = {}};
  if ((status.stx_mask & STATX_BTIME) != 0)
    identity.birth = BirthTime{status.stx_btime.tv_sec, status.stx_btime.tv_nsec};
  return identity;
}

std::optional<FileHandle> handleOf(const FileLocation& item) {
  HandleBuffer buffer;
  int mount = 0;
  const int result = uninterrupted(
      [&] { return systemCalls().handleOf(item.folder(), item.name(), buffer.handle(), &mount, 0); });
  if (result != 0 || buffer.handle()->handle_bytes == 0) return {};
  return buffer.content();
}

std::optional<std::string> pathOfItem(const FileIdentity& item, std::string_view nearby) {
  if (!item.handle) return {};
  // One that is only a place (O_PATH) will not do to open handles.
  const Descriptor folder = FileLocation(existingFolderOf(nearby)).open(O_RDONLY | O_DIRECTORY | O_NONBLOCK);
  HandleBuffer buffer(*item.handle);
  const Descriptor opened(uninterrupted(
      [&] { return systemCalls().openHandle(folder.number(), buffer.handle(), O_PATH | O_CLOEXEC); }));
  if (!opened.isOpen()) return {};

  std::string path;
  if (FileLocation("/proc/self/fd/" + std::to_string(opened.number())).readLink(path) != 0) return {};
  // A path that is not known reads "/", that of a deleted item ends in " (deleted)": another item, if any.
  const auto there = identityOf(FileLocation(path));
  return there && isSameItem(*there, item) ? std::optional(path) : std::nullopt;
}

std::string_view folderOf(std::string_view absolutePath) noexcept {
  const std::size_t slash = absolutePath.rfind('/');
  return absolutePath.substr(0, std::max<std::size_t>(slash, 1));
}

// From the root on, so that it takes one step for each name, however many of them are missing.
std::string_view existingFolderOf(std::string_view absolutePath) {
  const std::string_view folder = folderOf(absolutePath);
  Descriptor reached = FileLocation("/").open(O_PATH | O_DIRECTORY);
  for (std::size_t length = 1; length < folder.size();) {
    const std::size_t end = std::min(folder.find('/', length), folder.size());
    reached = FileLocation(reached.number(), std::string(folder.substr(length, end - length)))
                  .open(O_PATH | O_DIRECTORY);
    if (!reached.isOpen()) return folder.substr(0, std::max<std::size_t>(length - 1, 1));
    length = end + 1;
  }
  return folder;
}

}  // namespace QVFoundation::detail
