#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
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
    std::string path;       // below the root of the copy
    ItemIdentity identity;  // of the new item
  };

  /// Whether a name of that item has been met before; else it is the first. A number may have become that of
  /// another item meanwhile.
  [[nodiscard]] bool meet(const struct stat& source, std::string_view path) {
    const auto [found, isFirst] = entries_.try_emplace(ItemIdentity::of(source), source, path);
    if (isFirst) return false;
    if (found->second.isOf(source)) return true;
    found->second = Entry(source, path);
    return false;
  }
  /// One of its names has been made anew.
  void setMade(const struct stat& source, const struct stat& made, std::string_view path) {
    if (Entry* const entry = find(source)) entry->place = {std::string(path), ItemIdentity::of(made)};
    countName(source);
  }
  /// Where there is one that another name can be given to.
  [[nodiscard]] std::optional<Place> place(const struct stat& source) {
    const Entry* const entry = find(source);
    return entry != nullptr && entry->place.identity != ItemIdentity() ? std::optional(entry->place)
                                                                       : std::nullopt;
  }
  /// A name has been made. With the last one the item is forgotten.
  void countName(const struct stat& source) {
    Entry* const entry = find(source);
    if (entry != nullptr && --entry->namesLeft == 0) entries_.erase(ItemIdentity::of(source));
  }

private:
  struct Hash {
    std::size_t operator()(const ItemIdentity& identity) const noexcept {
      return std::hash<std::uint64_t>()(identity.number ^ (identity.device << 32));
    }
  };
  struct Entry {
    Entry(const struct stat& source, std::string_view path)
        : place{std::string(path), {}},
          namesLeft(source.st_nlink),
          size(source.st_size),
          modified(source.st_mtim),
          type(source.st_mode & S_IFMT) {}

    [[nodiscard]] bool isOf(const struct stat& source) const noexcept {
      return size == source.st_size && type == (source.st_mode & S_IFMT) &&
             modified.tv_sec == source.st_mtim.tv_sec && modified.tv_nsec == source.st_mtim.tv_nsec;
    }

    Place place;  // without an identity until it is made
    std::uint64_t namesLeft;
    off_t size;
    timespec modified;
    mode_t type;
  };

  [[nodiscard]] Entry* find(const struct stat& source) {
    const auto found = entries_.find(ItemIdentity::of(source));
    return found != entries_.end() && found->second.isOf(source) ? &found->second : nullptr;
  }

  std::unordered_map<ItemIdentity, Entry, Hash> entries_;
};

}  // namespace QVFoundation::detail
