#pragma once

#include <cstdint>
#include <string>
#include <sys/stat.h>
#include <unordered_map>

#include "QVFoundation/platform/files/ItemIdentity_p.h"

namespace QVFoundation::detail {

/// Where the items have gone that have several names, until all of their names have been met.
///
/// Threads: one at a time.
class HardLinks {
public:
  struct Place {
    std::string path;             // below the root of the copy
    ItemIdentity identity;        // of the new item
    std::uint64_t namesLeft = 0;  // that have not been met yet
  };

  /// Whether a name of that item has been met before; else it is the first.
  [[nodiscard]] bool meet(const struct stat& source, std::string_view path) {
    return !places_.try_emplace(ItemIdentity::of(source), Place{std::string(path), {}, source.st_nlink})
                .second;
  }
  /// Its first name has been made.
  void setMade(const struct stat& source, const struct stat& made) {
    if (const auto found = places_.find(ItemIdentity::of(source)); found != places_.end()) {
      found->second.identity = ItemIdentity::of(made);
      takeName(found);
    }
  }
  /// Another name is to be made.
  [[nodiscard]] Place takePlace(const struct stat& source) {
    const auto found = places_.find(ItemIdentity::of(source));
    if (found == places_.end()) return {};
    Place place = found->second;
    takeName(found);
    return place;
  }

private:
  struct Hash {
    std::size_t operator()(const ItemIdentity& identity) const noexcept {
      return std::hash<std::uint64_t>()(identity.number ^ (identity.device << 32));
    }
  };
  using Places = std::unordered_map<ItemIdentity, Place, Hash>;

  void takeName(Places::iterator place) {
    if (--place->second.namesLeft == 0) places_.erase(place);
  }

  Places places_;
};

}  // namespace QVFoundation::detail
