#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <vector>

#include "QVFoundation/platform/copying/CopyReport.h"
#include "QVFoundation/platform/copying/ItemHandle_p.h"

namespace QVFoundation::detail {

/// What an item is beside its content: owner, mode, times, extended attributes, access lists. Whatever of that
/// another item cannot have is a loss, and the rest is done.
///
/// Threads: a plain value.
class ItemMetadata {
public:
  ItemMetadata() = default;
  /// The status is known by then. Losses bear the path.
  ItemMetadata(const ItemHandle& item, const struct stat& status, std::string_view path,
               std::vector<CopyLoss>& losses);

  [[nodiscard]] const struct stat& status() const noexcept { return status_; }

  /// Times come last, so nothing may be written to the item afterwards.
  void applyTo(const ItemHandle& item, std::string_view path, std::vector<CopyLoss>& losses) const;

private:
  struct Attribute {
    std::string name;
    std::vector<std::byte> value;
  };
  class Application;

  struct stat status_{};
  std::vector<Attribute> attributes_;
  bool hasAccessListLost_ = false;  // one that could not be read
};

/// Takes from a new item the access list that its folder has given it, and from a folder also the one that it
/// would give in turn.
void removeAccessList(const ItemHandle& item) noexcept;
void removeAccessLists(const ItemHandle& folder) noexcept;

}  // namespace QVFoundation::detail
