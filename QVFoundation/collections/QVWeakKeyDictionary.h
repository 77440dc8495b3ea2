#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <memory>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "QVFoundation/collections/LivingIterator.h"
#include "QVFoundation/collections/WeakReference.h"

namespace QVFoundation {

/// Something of one's own about each of several objects, which it does not keep alive: an entry goes with its
/// object. Objects are told apart by identity.
///
/// ```cpp
/// QVWeakKeyDictionary<NSNotificationCenter, Tokens> tokens;
/// tokens.at(center).add(token);  // made empty where there are none
/// for (const auto& [center, theirs] : tokens) removeAll(*center, theirs);
/// ```
///
/// What is stored for an object that has gone is out of reach at once, and let go of when the dictionary
/// grows, is compacted or is destroyed. A loop may erase entries, the one that it has reached included.
///
/// Threads: one thread at a time; the objects themselves may go on any thread, also while a loop runs.
template <class Object, class T>
class QVWeakKeyDictionary {
  struct Entry {
    detail::WeakReference<Object> object;
    std::optional<T> content;  // nothing once erased
  };
  using Entries = std::unordered_map<const Object*, Entry>;
  struct Place {
    template <class Position>
    static const auto& object(Position entry) {
      return entry->second.object;
    }
    template <class Position>
    static auto value(Position entry, const std::shared_ptr<Object>& object) {
      return std::pair<const std::shared_ptr<Object>&, decltype((*entry->second.content))>(
          object, *entry->second.content);
    }
  };

public:
  using iterator = detail::LivingIterator<typename Entries::iterator, Place>;
  using const_iterator = detail::LivingIterator<typename Entries::const_iterator, Place>;

  /// What is stored for an object; null where there is nothing. The pointer holds until that entry goes.
  [[nodiscard]] T* find(const Object& object) {
    const auto entry = entries_.find(&object);
    return entry != entries_.end() && entry->second.object.refersTo(object) ? &*entry->second.content
                                                                            : nullptr;
  }
  [[nodiscard]] const T* find(const Object& object) const {
    return const_cast<QVWeakKeyDictionary*>(this)->find(object);
  }

  /// Stores something for an object in place of what was there. A null pointer stores nothing. Ends the use
  /// of all iterators.
  void insert(const std::shared_ptr<Object>& object, T content) {
    if (object) at(object) = std::move(content);
  }
  /// What is stored for an object that is not null; something new where there was nothing, which ends the use
  /// of all iterators.
  [[nodiscard]] T& at(const std::shared_ptr<Object>& object) {
    if (T* content = find(*object)) return *content;
    const auto left = entries_.extract(object.get());  // by another object at the same address
    if (entries_.size() >= sizeToCompactAt_) compact();
    return *entries_.try_emplace(object.get(), Entry{detail::WeakReference<Object>(object), T()})
                .first->second.content;
  }
  void erase(const Object& object) {
    if (const auto entry = entries_.find(&object); entry != entries_.end()) {
      entry->second.object.reset();
      const auto content = std::exchange(entry->second.content, std::nullopt);
    }
  }
  void clear() {
    std::vector<std::optional<T>> contents;  // go when this dictionary is whole again: destructors may use it
    contents.reserve(entries_.size());
    for (auto& [address, entry] : entries_) {
      entry.object.reset();
      contents.push_back(std::exchange(entry.content, std::nullopt));
    }
  }

  /// How many are left.
  [[nodiscard]] std::size_t count() const {
    return static_cast<std::size_t>(
        std::ranges::count_if(entries_, [](const auto& entry) { return !entry.second.object.isGone(); }));
  }
  [[nodiscard]] bool empty() const { return count() == 0; }

  [[nodiscard]] iterator begin() { return {entries_.begin(), entries_.end()}; }
  [[nodiscard]] const_iterator begin() const { return {entries_.begin(), entries_.end()}; }
  [[nodiscard]] std::default_sentinel_t end() const noexcept { return {}; }

  /// Lets go now of what is stored for objects that have gone. Ends the use of all iterators.
  void compact() {
    Entries gone;  // destroyed when this dictionary is whole again: destructors may use it
    for (auto entry = entries_.begin(); entry != entries_.end();) {
      const auto next = std::next(entry);
      if (entry->second.object.isGone()) gone.insert(entries_.extract(entry));
      entry = next;
    }
    sizeToCompactAt_ = entries_.size() * 2 + 8;  // far enough that this does not happen at every step
  }

private:
  Entries entries_;
  std::size_t sizeToCompactAt_ = 8;
};

}  // namespace QVFoundation
