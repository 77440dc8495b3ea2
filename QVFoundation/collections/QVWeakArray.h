#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

#include "QVFoundation/collections/LivingIterator.h"
#include "QVFoundation/collections/WeakReference.h"

namespace QVFoundation {

/// Objects in an order, which it does not keep alive: an object that goes leaves the array.
///
/// ```cpp
/// QVWeakArray<Panel> panels;
/// panels.append(panel);
/// for (const std::shared_ptr<Panel>& panel : panels) panel->refresh();  // those that are left
/// ```
///
/// An object that a loop has reached lives until the loop moves on, and may be removed meanwhile, as any
/// other one. The places of objects that have gone are cleared away as the array grows, so that it stays in
/// proportion to what lives.
///
/// Threads: one thread at a time; the objects themselves may go on any thread, also while a loop runs.
template <class T>
class QVWeakArray {
  using Objects = std::vector<detail::WeakReference<T>>;
  struct Place {
    static const auto& object(typename Objects::const_iterator position) { return *position; }
    static const auto& value(typename Objects::const_iterator /*position*/,
                             const std::shared_ptr<T>& object) {
      return object;
    }
  };

public:
  using const_iterator = detail::LivingIterator<typename Objects::const_iterator, Place>;
  using iterator = const_iterator;
  using value_type = std::shared_ptr<T>;

  /// A null pointer is not kept. Ends the use of all iterators.
  void append(const std::shared_ptr<T>& object) {
    if (!object) return;
    if (objects_.size() == objects_.capacity()) compact();
    objects_.emplace_back(object);
  }
  /// Removes every place of an object.
  void remove(const T& object) {
    for (auto& held : objects_) {
      if (held.refersTo(object)) held.reset();
    }
  }
  void clear() noexcept {
    for (auto& held : objects_) held.reset();
  }

  [[nodiscard]] bool contains(const T& object) const {
    return std::ranges::any_of(objects_, [&](const auto& held) { return held.refersTo(object); });
  }
  /// How many are left.
  [[nodiscard]] std::size_t count() const {
    return static_cast<std::size_t>(
        std::ranges::count_if(objects_, [](const auto& held) { return !held.isGone(); }));
  }
  [[nodiscard]] bool empty() const { return begin() == end(); }

  /// Those that are left, in their order; they stay as long as the result does.
  [[nodiscard]] std::vector<std::shared_ptr<T>> allObjects() const {
    std::vector<std::shared_ptr<T>> objects;
    for (const auto& object : *this) objects.push_back(object);
    return objects;
  }

  [[nodiscard]] const_iterator begin() const { return {objects_.begin(), objects_.end()}; }
  [[nodiscard]] std::default_sentinel_t end() const noexcept { return {}; }

  /// Clears the places of objects that have gone away now. Ends the use of all iterators.
  void compact() {
    std::erase_if(objects_, [](const auto& held) { return held.isGone(); });
    // Room for as many again, so that this does not happen at every step.
    objects_.reserve(objects_.size() * 2 + 8);
  }

private:
  Objects objects_;
};

}  // namespace QVFoundation
