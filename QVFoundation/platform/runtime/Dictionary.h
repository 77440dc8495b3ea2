#pragma once

#include <concepts>
#include <cstddef>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "QVFoundation/platform/runtime/Value.h"
#include "QVFoundation/platform/text/Described.h"

namespace QVFoundation {

/// Values by key; itself a value, whose copies share storage until one of them is written. Keys are mostly
/// texts, and looking one up makes no copy of it. The order of iteration means nothing; `description` sorts.
///
/// Threads: as for `Value`.
/// Errors: a key that is nothing raises `NSException` named `NSInvalidArgumentException`.
class QV_EXPORT Dictionary {
public:
  using Entries = std::unordered_map<Value, Value, ValueHash, ValueEqual>;
  using value_type = Entries::value_type;
  using const_iterator = Entries::const_iterator;
  using iterator = const_iterator;

  Dictionary() noexcept = default;
  /// Of entries with the same key the last one counts; entries whose value is nothing are left out.
  Dictionary(std::initializer_list<std::pair<Value, Value>> entries);

  [[nodiscard]] std::size_t size() const noexcept { return entries().size(); }
  [[nodiscard]] bool empty() const noexcept { return size() == 0; }
  [[nodiscard]] const_iterator begin() const noexcept { return entries().begin(); }
  [[nodiscard]] const_iterator end() const noexcept { return entries().end(); }

  /// The value under a key; nothing where the key is absent. The reference holds until the dictionary
  /// is written.
  [[nodiscard]] const Value& operator[](const Value& key) const;
  template <detail::TextLike T>
  [[nodiscard]] const Value& operator[](const T& key) const {
    return valueUnderText(key);
  }
  [[nodiscard]] bool contains(const Value& key) const { return !(*this)[key].isNothing(); }
  template <detail::TextLike T>
  [[nodiscard]] bool contains(const T& key) const {
    return !(*this)[key].isNothing();
  }
  [[nodiscard]] std::vector<Value> keys() const;
  /// The entries ordered by key: by kind, and within a kind by their order, or by what they print where they
  /// have none.
  [[nodiscard]] std::vector<std::pair<Value, Value>> sortedEntries() const;

  /// Stores a value under a key; storing nothing removes the key.
  void set(Value key, Value value);
  void remove(const Value& key);
  void clear() noexcept { node_ = {}; }

  [[nodiscard]] std::string description(const NSLocale* locale = nullptr) const {
    return Value(*this).description(locale);
  }
  friend QV_EXPORT bool operator==(const Dictionary& a, const Dictionary& b);

private:
  friend class Value;
  explicit Dictionary(detail::Ref<detail::DictionaryNode> node) noexcept : node_(std::move(node)) {}
  [[nodiscard]] const Value& valueUnderText(std::string_view key) const;
  [[nodiscard]] const Entries& entries() const noexcept;
  Entries& mutableEntries();

  detail::Ref<detail::DictionaryNode> node_;  // null until something is put in
};

template <>
struct ValueTraits<Dictionary> {
  static std::optional<Dictionary> fromValue(const Value& value) {
    return value.kind() == ValueKind::dictionary ? std::optional(value.dictionary()) : std::nullopt;
  }
};

/// A map from texts converts entry by entry; one entry that does not fit fails the whole.
template <class T>
struct ValueTraits<std::map<std::string, T>> {
  static Value toValue(const std::map<std::string, T>& entries)
    requires std::constructible_from<Value, const T&>
  {
    Dictionary dictionary;
    for (const auto& [key, value] : entries) dictionary.set(key, Value(value));
    return dictionary;
  }
  static std::optional<std::map<std::string, T>> fromValue(const Value& value) {
    if (value.kind() != ValueKind::dictionary) return {};
    std::map<std::string, T> entries;
    const Dictionary dictionary = value.dictionary();
    for (const auto& [key, entry] : dictionary) {
      auto content = entry.template as<T>();
      if (key.text() == nullptr || !content) return {};
      entries.emplace(*key.text(), std::move(*content));
    }
    return entries;
  }
};

}  // namespace QVFoundation
