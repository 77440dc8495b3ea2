#pragma once

#include <chrono>
#include <compare>
#include <concepts>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Box.h"
#include "QVFoundation/platform/runtime/NSNumber.h"
#include "QVFoundation/platform/runtime/SharedNode.h"
#include "QVFoundation/platform/text/Described.h"

namespace QVFoundation {

class Array;
class Dictionary;
class NSError;
class NSLocale;
class NSObject;
class Set;

namespace detail {
struct ArrayNode;
struct DataNode;
struct DictionaryNode;
struct ErrorNode;
struct SetNode;

/// What stands for text in a comparison or as a key. The literal 0, which would convert as a null pointer,
/// does not.
template <class T>
concept TextLike = std::convertible_to<const T&, std::string_view> && !std::same_as<T, std::nullptr_t>;
}  // namespace detail

using NSData = std::vector<std::byte>;
using NSDate = std::chrono::system_clock::time_point;

/// The null object: a value that says "nothing here" where something must stand.
struct NSNull {
  friend bool operator==(NSNull, NSNull) noexcept { return true; }
};

enum class ValueKind {
  nothing,     ///< no value at all
  null,        ///< `NSNull`
  number,      ///< `NSNumber`, booleans included
  text,        ///< UTF-8
  data,        ///< `NSData`
  date,        ///< `NSDate`
  array,       ///< `Array`
  dictionary,  ///< `Dictionary`
  set,         ///< `Set`
  error,       ///< `NSError`
  object,      ///< a shared `NSObject`
  boxed,       ///< anything else
};

/// Says how a C++ type turns into a `Value` and back. Specialise it for your own types with
/// `static Value toValue(const T&)` and `static std::optional<T> fromValue(const Value&)`.
template <class T>
struct ValueTraits;

/// Any object or nothing: what user info, property lists and properties read by name hold.
///
/// ```cpp
/// Dictionary info{{"name", "Report"}, {"size", 42}, {"tags", Array{"draft", "2026"}}};
/// int size = info["size"].as<int>().value_or(0);
/// ```
///
/// Values are values: a copy is independent, and cheap because its storage is shared until one of them is
/// written. Objects keep their identity. `Array`, `Dictionary`, `Set` and `NSError` have headers of their
/// own, which a caller includes who puts them in or takes them out.
///
/// Threads: different values may be used on different threads, also when they share storage; one value must
/// not be written while others read it.
class QV_EXPORT Value {
public:
  Value() noexcept = default;
  Value(std::nullptr_t) noexcept {}
  Value(NSNull null) noexcept : content_(null) {}
  Value(NSNumber number) noexcept : content_(number) {}
  template <class T>
    requires std::is_arithmetic_v<T>
  Value(T number) noexcept : content_(NSNumber(number)) {}
  Value(std::string text) noexcept : content_(std::move(text)) {}
  Value(std::string_view text) : content_(std::string(text)) {}
  Value(const char* text);  ///< A null pointer gives nothing.
  Value(NSData data);
  Value(NSDate date) noexcept : content_(date) {}
  Value(const Array& array) noexcept;
  Value(const Dictionary& dictionary) noexcept;
  Value(const Set& set) noexcept;
  Value(const NSError& error) noexcept;
  template <class T>
    requires std::convertible_to<std::shared_ptr<T>, std::shared_ptr<NSObject>>
  Value(std::shared_ptr<T> object) noexcept {
    if (object) content_ = std::shared_ptr<NSObject>(std::move(object));
  }
  template <class T>
    requires std::constructible_from<Value, const T&>
  Value(const std::optional<T>& content) : Value(content ? Value(*content) : Value()) {}
  template <class T>
    requires requires(const T& content) {
      { ValueTraits<T>::toValue(content) } -> std::same_as<Value>;
    }
  Value(const T& content) : Value(ValueTraits<T>::toValue(content)) {}

  Value(const Value&) = default;
  Value(Value&& other) noexcept : content_(std::exchange(other.content_, {})) {}  ///< Leaves nothing behind.
  Value& operator=(const Value& other) { return *this = Value(other); }  ///< `other` may be a part of this.
  Value& operator=(Value&& other) noexcept {
    content_ = std::exchange(other.content_, {});
    return *this;
  }
  ~Value() = default;

  /// Puts anything that can be copied into a value. Boxes are equal when their contents are.
  template <class T>
  [[nodiscard]] static Value boxed(T&& content) {
    Value value;
    using Box = detail::Box<std::remove_cvref_t<T>>;
    value.content_ = detail::Ref<const detail::BoxNode>(new Box(std::in_place, std::forward<T>(content)));
    return value;
  }

  [[nodiscard]] ValueKind kind() const noexcept { return static_cast<ValueKind>(content_.index()); }
  [[nodiscard]] bool isNothing() const noexcept { return kind() == ValueKind::nothing; }

  /// The content as a `T`, or nothing where it is of another kind or `T` cannot hold it exactly: numbers,
  /// text, containers, errors, shared objects of a class, and whatever `ValueTraits` knows.
  template <class T>
  [[nodiscard]] std::optional<T> as() const {
    return ValueTraits<T>::fromValue(*this);
  }

  // The content where it is of that kind, else null, empty or nothing.
  [[nodiscard]] const NSNumber* number() const noexcept { return std::get_if<NSNumber>(&content_); }
  [[nodiscard]] const std::string* text() const noexcept { return std::get_if<std::string>(&content_); }
  [[nodiscard]] const NSData* data() const noexcept;
  [[nodiscard]] const NSDate* date() const noexcept { return std::get_if<NSDate>(&content_); }
  [[nodiscard]] Array array() const noexcept;
  [[nodiscard]] Dictionary dictionary() const noexcept;
  [[nodiscard]] Set set() const noexcept;
  [[nodiscard]] std::shared_ptr<NSObject> object() const noexcept;
  /// The error; a boxed exception is converted to one.
  [[nodiscard]] std::optional<NSError> error() const;
  template <class T>
  [[nodiscard]] const T* boxedContent() const noexcept {
    const auto* node = std::get_if<detail::Ref<const detail::BoxNode>>(&content_);
    return node != nullptr && (*node)->type() == typeid(T) ? static_cast<const T*>((*node)->content())
                                                           : nullptr;
  }

  /// The entry of a dictionary; nothing where this is none or the key is absent.
  [[nodiscard]] Value operator[](std::string_view key) const;
  Value operator[](std::nullptr_t) const = delete;  // the literal 0 is neither a key nor an index

  /// Text for people. Containers print nested, with four blanks for each level; objects describe themselves.
  /// What is nested deeper than 100 levels is cut to an ellipsis.
  [[nodiscard]] std::string description(const NSLocale* locale = nullptr) const {
    return descriptionWithLocale(locale, 0);
  }
  [[nodiscard]] std::string descriptionWithLocale(const NSLocale* locale, unsigned indent) const;

  /// Numbers, texts, data and dates have an order among their like, and so have boxed values whose type has a
  /// `<=>`, and objects as `NSObject::compare` says; all else is equal or unordered.
  [[nodiscard]] std::partial_ordering compare(const Value& other) const;
  /// Containers hash what stands directly in them, and of nested containers the size alone.
  [[nodiscard]] std::size_t hash() const;

  friend QV_EXPORT bool operator==(const Value& a, const Value& b);
  template <detail::TextLike T>
  friend bool operator==(const Value& a, const T& b) noexcept {
    return a.text() != nullptr && *a.text() == std::string_view(b);
  }

private:
  [[nodiscard]] const detail::BoxNode& box() const {
    return *std::get<detail::Ref<const detail::BoxNode>>(content_);
  }

  friend class Array;
  friend class Dictionary;
  friend class NSError;
  friend class Set;

  // In the order of `ValueKind`.
  std::variant<std::monostate, NSNull, NSNumber, std::string, detail::Ref<const detail::DataNode>, NSDate,
               detail::Ref<detail::ArrayNode>, detail::Ref<detail::DictionaryNode>,
               detail::Ref<detail::SetNode>, detail::Ref<const detail::ErrorNode>, std::shared_ptr<NSObject>,
               detail::Ref<const detail::BoxNode>>
      content_;
};

/// Hashing and equality for containers keyed by values, which can be searched by text without making a value.
struct ValueHash {
  using is_transparent = void;
  std::size_t operator()(const Value& value) const { return value.hash(); }
  std::size_t operator()(std::string_view text) const noexcept { return std::hash<std::string_view>{}(text); }
};
struct ValueEqual {
  using is_transparent = void;
  bool operator()(const Value& a, const Value& b) const { return a == b; }
  bool operator()(const Value& a, std::string_view b) const noexcept { return a == b; }
  bool operator()(std::string_view a, const Value& b) const noexcept { return b == a; }
};

template <>
struct ValueTraits<Value> {
  static std::optional<Value> fromValue(const Value& value) { return value; }
};

template <class T>
  requires std::is_arithmetic_v<T>
struct ValueTraits<T> {
  static std::optional<T> fromValue(const Value& value) noexcept {
    return value.number() != nullptr ? value.number()->exactly<T>() : std::nullopt;
  }
};

template <>
struct ValueTraits<NSNumber> {
  static std::optional<NSNumber> fromValue(const Value& value) noexcept {
    return value.number() != nullptr ? std::optional(*value.number()) : std::nullopt;
  }
};

template <>
struct ValueTraits<std::string> {
  static std::optional<std::string> fromValue(const Value& value) {
    return value.text() != nullptr ? std::optional(*value.text()) : std::nullopt;
  }
};

template <>
struct ValueTraits<NSDate> {
  static std::optional<NSDate> fromValue(const Value& value) noexcept {
    return value.date() != nullptr ? std::optional(*value.date()) : std::nullopt;
  }
};

template <>
struct ValueTraits<NSData> {
  static std::optional<NSData> fromValue(const Value& value) {
    return value.data() != nullptr ? std::optional(*value.data()) : std::nullopt;
  }
};

template <class T>
struct ValueTraits<std::optional<T>> {
  static std::optional<std::optional<T>> fromValue(const Value& value) {
    if (value.isNothing()) return std::optional<T>();
    const auto content = value.as<T>();
    return content ? std::make_optional(content) : std::nullopt;
  }
};

template <class T>
struct ValueTraits<std::shared_ptr<T>> {
  static std::optional<std::shared_ptr<T>> fromValue(const Value& value) {
    auto object = std::dynamic_pointer_cast<T>(value.object());
    return object ? std::optional(std::move(object)) : std::nullopt;
  }
};

template <class T>
  requires std::is_enum_v<T>
struct ValueTraits<T> {
  static Value toValue(T enumerator) { return static_cast<std::underlying_type_t<T>>(enumerator); }
  static std::optional<T> fromValue(const Value& value) {
    const auto number = value.as<std::underlying_type_t<T>>();
    return number ? std::optional(static_cast<T>(*number)) : std::nullopt;
  }
};

}  // namespace QVFoundation

template <>
struct std::hash<QVFoundation::Value> : QVFoundation::ValueHash {};
