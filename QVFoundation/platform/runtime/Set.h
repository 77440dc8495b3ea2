#pragma once

#include <cstddef>
#include <initializer_list>
#include <optional>
#include <unordered_set>

#include "QVFoundation/platform/runtime/Value.h"
#include "QVFoundation/platform/text/Described.h"

namespace QVFoundation {

/// Values, each once; itself a value, whose copies share storage until one of them is written. The order of
/// iteration means nothing; `description` sorts.
///
/// Threads: as for `Value`.
class QV_EXPORT Set {
public:
  using Members = std::unordered_set<Value, ValueHash, ValueEqual>;
  using value_type = Value;
  using const_iterator = Members::const_iterator;
  using iterator = const_iterator;

  Set() noexcept = default;
  Set(std::initializer_list<Value> members);

  [[nodiscard]] std::size_t size() const noexcept { return members().size(); }
  [[nodiscard]] bool empty() const noexcept { return size() == 0; }
  [[nodiscard]] const_iterator begin() const noexcept { return members().begin(); }
  [[nodiscard]] const_iterator end() const noexcept { return members().end(); }
  [[nodiscard]] bool contains(const Value& member) const;

  bool add(Value member);            ///< False where an equal one was there already; that one stays.
  bool remove(const Value& member);  ///< False where there was none.
  void clear() noexcept { node_ = {}; }

  [[nodiscard]] std::string description(const NSLocale* locale = nullptr) const {
    return Value(*this).description(locale);
  }
  friend QV_EXPORT bool operator==(const Set& a, const Set& b);

private:
  friend class Value;
  explicit Set(detail::Ref<detail::SetNode> node) noexcept : node_(std::move(node)) {}
  [[nodiscard]] const Members& members() const noexcept;
  Members& mutableMembers();

  detail::Ref<detail::SetNode> node_;  // null until something is put in
};

template <>
struct ValueTraits<Set> {
  static std::optional<Set> fromValue(const Value& value) {
    return value.kind() == ValueKind::set ? std::optional(value.set()) : std::nullopt;
  }
};

}  // namespace QVFoundation
