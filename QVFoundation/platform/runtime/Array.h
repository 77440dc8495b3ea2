#pragma once

#include <concepts>
#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <vector>

#include "QVFoundation/platform/runtime/Value.h"
#include "QVFoundation/platform/text/Described.h"

namespace QVFoundation {

/// A list of values; itself a value, whose copies share storage until one of them is written.
///
/// It is a contiguous range: `for (const Value& element : array)`, `std::ranges::find(array, Value("x"))`.
/// Compilers disagree on what `Array{other}` means: write `Array(other)` for a copy and `Array{Value(other)}`
/// for an array in an array.
///
/// Threads: as for `Value`.
/// Errors: an index past the end raises `NSException` named `NSRangeException`.
class QV_EXPORT Array {
public:
  using value_type = Value;
  using const_iterator = const Value*;
  using iterator = const_iterator;

  Array() noexcept = default;
  Array(std::initializer_list<Value> elements);
  explicit Array(std::vector<Value> elements);

  [[nodiscard]] std::size_t size() const noexcept;
  [[nodiscard]] bool empty() const noexcept { return size() == 0; }
  [[nodiscard]] const Value& operator[](std::size_t index) const;
  [[nodiscard]] const_iterator begin() const noexcept;
  [[nodiscard]] const_iterator end() const noexcept { return begin() + size(); }
  [[nodiscard]] bool contains(const Value& element) const;

  void append(Value element);
  void insert(std::size_t index, Value element);  ///< `index` may be `size()`.
  void set(std::size_t index, Value element);
  void remove(std::size_t index);
  void clear() noexcept { node_ = {}; }
  void reserve(std::size_t capacity);

  [[nodiscard]] std::string description(const NSLocale* locale = nullptr) const {
    return Value(*this).description(locale);
  }
  friend QV_EXPORT bool operator==(const Array& a, const Array& b);

private:
  friend class Value;
  explicit Array(detail::Ref<detail::ArrayNode> node) noexcept : node_(std::move(node)) {}
  std::vector<Value>& mutableElements();
  void checkIndex(std::size_t index, std::size_t limit) const;

  detail::Ref<detail::ArrayNode> node_;  // null until something is put in
};

template <>
struct ValueTraits<Array> {
  static std::optional<Array> fromValue(const Value& value) {
    return value.kind() == ValueKind::array ? std::optional(value.array()) : std::nullopt;
  }
};

/// A vector converts element by element; one element that does not fit fails the whole.
template <class T>
struct ValueTraits<std::vector<T>> {
  static Value toValue(const std::vector<T>& elements)
    requires std::constructible_from<Value, const T&>
  {
    Array array;
    array.reserve(elements.size());
    for (const auto& element : elements) array.append(Value(element));
    return array;
  }
  static std::optional<std::vector<T>> fromValue(const Value& value) {
    if (value.kind() != ValueKind::array) return {};
    const Array array = value.array();
    std::vector<T> elements;
    elements.reserve(array.size());
    for (const Value& element : array) {
      auto content = element.as<T>();
      if (!content) return {};
      elements.push_back(std::move(*content));
    }
    return elements;
  }
};

}  // namespace QVFoundation
