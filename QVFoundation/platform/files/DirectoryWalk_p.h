#pragma once

#include <cstddef>
#include <dirent.h>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/FileLocation_p.h"
#include "QVFoundation/platform/files/ItemIdentity_p.h"
#include "QVFoundation/platform/files/NSFileAttributes.h"

namespace QVFoundation::detail {

/// Walks through a folder, however deep: without recursion, and with a bounded number of open folders. Each
/// name is looked up in the open folder that has it, so nobody can lead the walk elsewhere by exchanging
/// a folder on the way.
///
/// ```text
/// root/                       item       root/a
///   a                         directory  root/b      skip() goes on with left(root)
///   b/                        item       root/b/c
///     c                       left       root/b
///                             left       root
/// ```
///
/// A folder that cannot be opened, or not be read to its end, is `unreadable` and then left like any other.
///
/// Deep down the folders above are closed. What they still have to offer is remembered, and on the way back
/// each is opened again by its name or as the parent of the one below it, and taken only if it is the same.
///
/// Threads: one at a time.
class QV_TEST_EXPORT DirectoryWalk {
public:
  enum class Links {
    items,     ///< are items, the root too: none is followed
    rootOnly,  ///< only where the root is one it is followed
    /// What they lead to takes their place. One that leads nowhere is passed over; one that leads back to a
    /// folder which the walk is in is a directory that is not entered, see `leadsBack`.
    followed,
  };
  enum class Event {
    item,        ///< anything but a folder
    directory,   ///< a folder; next comes what is in it
    unreadable,  ///< a folder, see `error`
    left,        ///< a folder: all that is in it has been there
    end,
  };

  DirectoryWalk(FileLocation root, PathView path, Links links);

  [[nodiscard]] Event next();
  /// After `directory`: goes on behind the folder; it will not be `left`.
  void skip() noexcept { pending_ = Pending::nothing; }
  /// After `left`: reads the folder once more, and leaves it again; false where that cannot be.
  [[nodiscard]] bool again() noexcept;

  // What the last event was about.
  [[nodiscard]] std::string_view path() const noexcept { return path_; }
  [[nodiscard]] const char* name() const noexcept;                  ///< of the root: as it was given
  [[nodiscard]] NSFileType type() const noexcept { return type_; }  ///< `none` where it cannot be told
  /// Whether a `directory` is one that the walk is in, so that it would go round in a circle.
  [[nodiscard]] bool leadsBack() const noexcept { return leadsBack_; }
  [[nodiscard]] std::size_t depth() const noexcept { return depth_; }  ///< of the root 0
  [[nodiscard]] int error() const noexcept { return error_; }          ///< the `errno` of `unreadable`
  /// After `left`: the folder itself, as it was read; -1 where it could not be opened again.
  [[nodiscard]] int opened() const noexcept { return frames_.back().folder.number(); }
  /// The open folder that has the item; -1 where it could not be opened again.
  [[nodiscard]] int folder() const noexcept;
  // Of the item itself, links not followed. 0, or -1 and `errno`.
  [[nodiscard]] int status(struct stat& status) const noexcept;
  [[nodiscard]] int status(unsigned mask, struct statx& status) const noexcept;

private:
  enum class Pending { nothing, enter, leave };
  struct Frame {
    Frame(std::size_t offset, std::size_t length, bool throughLink)
        : nameOffset(offset), pathLength(length), isThroughLink(throughLink) {}

    std::size_t nameOffset;  // in path_
    std::size_t pathLength;
    bool isThroughLink;
    Descriptor folder;                     // closed while the walk is deep below
    std::optional<ItemIdentity> identity;  // looked up when it is first needed
    std::vector<char> kept;    // entries that were read but not yet had, while others used buffer_
    std::size_t position = 0;  // in kept, or for the last frame in buffer_
    std::size_t size = 0;
    bool usesBuffer = false;
    bool isAtEnd = false;
    int error = 0;  // to be told before the folder is left
  };

  void enter();
  void leave();
  void comeBackTo(const Frame& frame);
  const dirent64* nextEntry(Frame& frame);
  bool refill(Frame& frame);
  bool take(const dirent64& entry);
  bool followLink();
  bool isOnTheWay(const ItemIdentity& identity);
  void keepEntries(Frame& frame);
  bool closeOne();
  void reopen(std::size_t index);
  Descriptor openByNames(std::size_t index);
  Descriptor openFolder(int folder, const char* name, bool followsLink);
  static std::optional<ItemIdentity> identityOf(const Descriptor& folder) noexcept;
  static void identify(Frame& frame) noexcept;

  const Links links_;
  FileLocation root_;
  std::string path_;
  const std::size_t rootLength_;  // of path_ for the root itself
  std::vector<Frame> frames_;
  std::unique_ptr<char[]> buffer_;
  std::size_t firstOpen_ = 1;  // frames from here on, and the root's, are open
  std::size_t depth_ = 0;
  std::size_t nameOffset_ = 0;
  std::size_t linksOnTheWay_ = 0;
  int error_ = 0;
  NSFileType type_ = NSFileType::directory;
  bool isThroughLink_ = false;
  bool leadsBack_ = false;
  Pending pending_ = Pending::enter;
};

}  // namespace QVFoundation::detail
