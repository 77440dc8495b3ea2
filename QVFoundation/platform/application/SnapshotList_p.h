#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "QVFoundation/platform/runtime/SharedNode.h"

namespace QVFoundation::detail {

/// An ordered list of shared objects that is read without its lock: a snapshot costs one count, and whoever
/// changes the list meanwhile changes a copy.
///
/// Threads: the list is used under its owner's lock; snapshots anywhere.
template <class T>
class SnapshotList {
  struct Items final : Node {
    explicit Items(std::vector<std::shared_ptr<T>> its) : content(std::move(its)) {}
    std::vector<std::shared_ptr<T>> content;
  };

public:
  /// The list as it was at one moment.
  class Snapshot {
  public:
    Snapshot() noexcept = default;
    [[nodiscard]] const std::vector<std::shared_ptr<T>>& items() const noexcept {
      static const std::vector<std::shared_ptr<T>> none;
      return items_ ? items_->content : none;
    }

  private:
    friend class SnapshotList;
    explicit Snapshot(Ref<Items> items) noexcept : items_(std::move(items)) {}
    Ref<Items> items_;
  };

  [[nodiscard]] static Snapshot only(std::shared_ptr<T> item) {
    return Snapshot(makeNode<Items>(std::vector{std::move(item)}));
  }
  [[nodiscard]] Snapshot snapshot() const noexcept { return Snapshot(items_); }
  [[nodiscard]] bool empty() const noexcept { return !items_ || items_->content.empty(); }

  void add(std::shared_ptr<T> item) { changeable().push_back(std::move(item)); }

  /// Hands over what it takes out, to be let go outside of the lock; null where the item is not listed.
  [[nodiscard]] std::shared_ptr<T> take(const T& item) {
    if (!items_) return nullptr;
    const auto& listed = items_->content;
    const auto found = std::find_if(listed.begin(), listed.end(),
                                    [&item](const auto& candidate) { return candidate.get() == &item; });
    if (found == listed.end()) return nullptr;
    const auto index = found - listed.begin();
    auto& content = changeable();
    auto taken = std::move(content[static_cast<std::size_t>(index)]);
    content.erase(content.begin() + index);
    return taken;
  }

private:
  std::vector<std::shared_ptr<T>>& changeable() {
    if (!items_) items_ = makeNode<Items>(std::vector<std::shared_ptr<T>>());
    if (!items_.isUnique()) items_ = makeNode<Items>(items_->content);
    return items_->content;
  }

  Ref<Items> items_;  // null until something is added
};

}  // namespace QVFoundation::detail
