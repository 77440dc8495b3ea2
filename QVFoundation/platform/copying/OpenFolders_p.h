#pragma once

#include <algorithm>
#include <cerrno>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "QVFoundation/platform/files/FileLocation_p.h"
#include "QVFoundation/platform/files/ItemIdentity_p.h"

namespace QVFoundation::detail {

/// Of opening a file: what ends when others are closed.
[[nodiscard]] inline bool meansTooManyOpen(int code) noexcept { return code == EMFILE || code == ENFILE; }

/// The new folders on the way down to where a copy is. Deep down those above are closed, and opened again as
/// the parents of those below, if they are the same.
///
/// Threads: one at a time.
class OpenFolders {
public:
  /// Closes files where too many are open; false where it cannot.
  using MakeRoom = std::function<bool()>;
  explicit OpenFolders(MakeRoom makeRoom) : makeRoom_(std::move(makeRoom)) {}

  /// Whoever still makes something in a folder keeps it open.
  using Folder = std::shared_ptr<const Descriptor>;

  /// Makes a folder, which belongs to its maker alone, and goes into it. 0, or an `errno`.
  [[nodiscard]] int make(const FileLocation& location);
  [[nodiscard]] const Folder& current() const noexcept { return levels_.back().folder; }
  /// Which item the first one is.
  [[nodiscard]] const ItemIdentity& root() const noexcept { return levels_.front().identity; }
  /// Whether an item is one of them.
  [[nodiscard]] bool contain(const ItemIdentity& item) const noexcept {
    return std::ranges::find(levels_, item, &Level::identity) != levels_.end();
  }

  /// Goes back to the one above, if there is one.
  [[nodiscard]] int leave();

private:
  static constexpr std::size_t mostOpen = 32;
  struct Level {
    Folder folder;  // null while it is closed
    ItemIdentity identity;
  };

  int open(const FileLocation& location, Level& level) const;

  const MakeRoom makeRoom_;
  std::vector<Level> levels_;
};

}  // namespace QVFoundation::detail
