#include <algorithm>
#include <array>
#include <deque>
#include <dirent.h>
#include <fcntl.h>
#include <unordered_set>

#include "QVFoundation/platform/files/Descriptor_p.h"
#include "QVFoundation/platform/files/FileSearch_p.h"
#include "QVFoundation/platform/files/SystemCalls_p.h"

namespace QVFoundation::detail {

namespace {

class FileSearch {
public:
  FileSearch(const FileIdentity& item, std::size_t mostEntries) : item_(item), entriesLeft_(mostEntries) {}

  /// Searches a folder and, down to a depth, those within it, the nearest first.
  std::optional<std::string> below(std::string_view top, std::size_t depth) {
    folders_ = {{.path = std::string(top), .depth = depth, .follow = FollowLinks::yes}};
    for (; !folders_.empty(); folders_.pop_front())
      if (auto found = in(folders_.front())) return found;
    return {};
  }

private:
  struct Folder {
    std::string path;
    std::size_t depth;  ///< to which the folders within are to be searched
    FollowLinks follow = FollowLinks::no;
    [[nodiscard]] std::string pathOf(std::string_view name) const {
      std::string inside(path == "/" ? "" : path);
      return (inside += '/') += name;
    }
  };

  std::optional<std::string> in(const Folder& folder) {
    const int links = folder.follow == FollowLinks::no ? O_NOFOLLOW : 0;
    const Descriptor opened = FileLocation(folder.path).open(O_RDONLY | O_DIRECTORY | O_NONBLOCK | links);
    if (!opened.isOpen() || !isNewOnVolume(opened.number())) return {};
    for (;;) {
      const ssize_t size = uninterrupted(
          [&] { return systemCalls().readEntries(opened.number(), entries_.data(), entries_.size()); });
      if (size <= 0) return {};
      for (const char* next = entries_.data(); next < entries_.data() + size;) {
        const auto& entry = *reinterpret_cast<const dirent64*>(next);
        next += entry.d_reclen;
        const std::string_view name = entry.d_name;
        if (name == "." || name == "..") continue;
        if (entriesLeft_ == 0) return {};
        --entriesLeft_;
        if (isItem(opened.number(), entry)) return folder.pathOf(name);
        if (folder.depth > 0 && (entry.d_type == DT_DIR || entry.d_type == DT_UNKNOWN))
          folders_.push_back({.path = folder.pathOf(name), .depth = folder.depth - 1});
      }
    }
  }

  bool isNewOnVolume(int folder) {
    const auto identity = identityOf(FileLocation(folder, "."));
    if (!identity) return false;
    if (!start_) start_ = identity;
    return identity->deviceMajor == start_->deviceMajor && identity->deviceMinor == start_->deviceMinor &&
           searched_.insert(identity->inode).second;
  }

  [[nodiscard]] bool isItem(int folder, const dirent64& entry) const {
    if (entry.d_ino != item_.inode) return false;
    const FileLocation location(folder, entry.d_name);
    const auto identity = identityOf(location);
    if (!identity || !isSameItem(*identity, item_)) return false;
    // Another item may have got the inode within the same tick of the clock.
    const auto handle = item_.handle ? handleOf(location) : std::nullopt;
    return !handle || handle == item_.handle;
  }

  const FileIdentity& item_;
  std::size_t entriesLeft_;
  std::deque<Folder> folders_;
  std::optional<FileIdentity> start_;           // the folder at which the search began
  std::unordered_set<std::uint64_t> searched_;  // inodes of folders
  alignas(dirent64) std::array<char, 32'768> entries_{};
};

}  // namespace

std::optional<std::string> searchNearby(std::string_view oldPath, const FileIdentity& item,
                                        std::size_t mostEntries) {
  FileSearch search(item, mostEntries);
  const std::string_view folder = folderOf(oldPath);
  if (auto found = search.below(folder, 1)) return found;
  const std::string_view above = existingFolderOf(folder);
  const std::string_view way = folder.substr(above.size());
  const auto depth = static_cast<std::size_t>(std::ranges::count(way, '/'));
  return search.below(above, std::max<std::size_t>(depth, 1));
}

}  // namespace QVFoundation::detail
