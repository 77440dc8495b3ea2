#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <iterator>
#include <memory>
#include <unordered_map>
#include <utility>

#include "QVFoundation/collections/WeakReference.h"

namespace QVFoundation {

/// Objects by key, which it does not keep alive: an entry goes with its object.
///
/// ```cpp
/// QVWeakDictionary<std::string, Document> openDocuments;
/// openDocuments.set(path, document);
/// if (const auto document = openDocuments[path]) return document;
/// for (const auto& [path, document] : openDocuments) list(path, *document);  // in no particular order
/// ```
///
/// An object that a loop has reached lives until the loop moves on. What is left of entries that have gone is
/// cleared away as the dictionary grows.
///
/// Threads: one thread at a time; the objects themselves may go on any thread, also while a loop runs.
template <class Key, class T, class Hash = std::hash<Key>, class Equal = std::equal_to<Key>>
class QVWeakDictionary {
public:
  class Iterator;
  using iterator = Iterator;
  using const_iterator = Iterator;
  using key_type = Key;
  using mapped_type = std::shared_ptr<T>;
  using value_type = std::pair<const Key&, const std::shared_ptr<T>&>;

  /// Stores an object under a key; a null pointer removes the key. Ends the use of all iterators.
  void set(const Key& key, const std::shared_ptr<T>& object) {
    if (!object) return remove(key);
    if (entries_.size() >= sizeToCompactAt_) compact();
    entries_.insert_or_assign(key, detail::WeakReference<T>(object));
  }
  void remove(const Key& key) { entries_.erase(key); }
  void clear() noexcept { entries_.clear(); }

  /// Null where there is none, or none any more.
  [[nodiscard]] std::shared_ptr<T> operator[](const Key& key) const {
    const auto entry = entries_.find(key);
    return entry != entries_.end() ? entry->second.lock() : nullptr;
  }
  [[nodiscard]] bool contains(const Key& key) const {
    const auto entry = entries_.find(key);
    return entry != entries_.end() && !entry->second.isGone();
  }
  /// How many are left.
  [[nodiscard]] std::size_t count() const {
    return static_cast<std::size_t>(
        std::ranges::count_if(entries_, [](const auto& entry) { return !entry.second.isGone(); }));
  }
  [[nodiscard]] bool empty() const { return count() == 0; }

  [[nodiscard]] const_iterator begin() const { return {entries_.begin(), entries_.end()}; }
  [[nodiscard]] std::default_sentinel_t end() const noexcept { return {}; }

  /// Clears away now what is left of entries that have gone. Ends the use of all iterators.
  void compact() {
    std::erase_if(entries_, [](const auto& entry) { return entry.second.isGone(); });
    sizeToCompactAt_ = entries_.size() * 2 + 8;  // far enough that this does not happen at every step
  }

private:
  using Entries = std::unordered_map<Key, detail::WeakReference<T>, Hash, Equal>;

  Entries entries_;
  std::size_t sizeToCompactAt_ = 8;
};

/// Walks over the entries that are left, and keeps the object of the one that it stands at. A key and an
/// object that it gives hold until it moves on.
///
/// Threads: as for `QVWeakDictionary`.
template <class Key, class T, class Hash, class Equal>
class QVWeakDictionary<Key, T, Hash, Equal>::Iterator {
public:
  using iterator_concept = std::input_iterator_tag;
  using value_type = std::pair<const Key&, const std::shared_ptr<T>&>;
  using difference_type = std::ptrdiff_t;

  Iterator() = default;

  value_type operator*() const { return {entry_->first, object_}; }
  Iterator& operator++() {
    ++entry_;
    findLiving();
    return *this;
  }
  void operator++(int) { ++*this; }
  friend bool operator==(const Iterator& iterator, std::default_sentinel_t /*end*/) {
    return !iterator.object_;
  }

private:
  friend class QVWeakDictionary;
  using Position = typename Entries::const_iterator;
  Iterator(Position entry, Position end) : entry_(entry), end_(end) { findLiving(); }

  void findLiving() {
    object_.reset();
    while (entry_ != end_ && !(object_ = entry_->second.lock())) ++entry_;
  }

  Position entry_, end_;
  std::shared_ptr<T> object_;  // null at the end
};

}  // namespace QVFoundation
