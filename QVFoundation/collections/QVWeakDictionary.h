#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <iterator>
#include <memory>
#include <unordered_map>
#include <utility>

#include "QVFoundation/collections/LivingIterator.h"
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
/// An object that a loop has reached lives until the loop moves on, and may be removed meanwhile, as any
/// other one. What is left of entries that have gone is cleared away as the dictionary grows.
///
/// Threads: one thread at a time; the objects themselves may go on any thread, also while a loop runs.
template <class Key, class T, class Hash = std::hash<Key>, class Equal = std::equal_to<Key>>
class QVWeakDictionary {
  using Entries = std::unordered_map<Key, detail::WeakReference<T>, Hash, Equal>;
  struct Place {
    using Position = typename Entries::const_iterator;
    static const auto& object(Position entry) { return entry->second; }
    static std::pair<const Key&, const std::shared_ptr<T>&> value(Position entry,
                                                                  const std::shared_ptr<T>& object) {
      return {entry->first, object};
    }
  };

public:
  using const_iterator = detail::LivingIterator<typename Entries::const_iterator, Place>;
  using iterator = const_iterator;
  using key_type = Key;
  using mapped_type = std::shared_ptr<T>;
  using value_type = typename const_iterator::value_type;

  /// Stores an object under a key; a null pointer removes the key. Ends the use of all iterators.
  void set(const Key& key, const std::shared_ptr<T>& object) {
    if (!object) return remove(key);
    if (entries_.size() >= sizeToCompactAt_) compact();
    entries_.insert_or_assign(key, detail::WeakReference<T>(object));
  }
  void remove(const Key& key) {
    if (const auto entry = entries_.find(key); entry != entries_.end()) entry->second.reset();
  }
  void clear() noexcept {
    for (auto& [key, held] : entries_) held.reset();
  }

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
  Entries entries_;
  std::size_t sizeToCompactAt_ = 8;
};

}  // namespace QVFoundation
