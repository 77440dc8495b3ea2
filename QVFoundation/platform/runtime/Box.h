#pragma once

#include <compare>
#include <concepts>
#include <exception>
#include <functional>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "QVFoundation/platform/runtime/Equality.h"
#include "QVFoundation/platform/runtime/SharedNode.h"
#include "QVFoundation/platform/runtime/TypeName.h"

/// Internal: installed because other headers need it.
///
/// What a `Value` holds of a type that it does not know itself.
///
/// Threads: a boxed value is never changed once it is in its box, so threads may share it.
namespace QVFoundation::detail {

class QV_EXPORT BoxNode : public Node {
public:
  [[nodiscard]] virtual const std::type_info& type() const noexcept = 0;
  [[nodiscard]] virtual const void* content() const noexcept = 0;
  [[nodiscard]] virtual bool equals(const BoxNode& other) const = 0;
  /// Unordered where the other one is of another type, or the type has no order.
  [[nodiscard]] virtual std::partial_ordering compare(const BoxNode& other) const = 0;
  [[nodiscard]] virtual std::size_t hash() const = 0;
  [[nodiscard]] virtual std::string description() const = 0;
  /// The content, where it is an exception and so can stand for an error.
  [[nodiscard]] virtual const std::exception* exception() const noexcept { return nullptr; }

protected:
  BoxNode() = default;
  ~BoxNode() override;
};

template <class T>
class Box final : public BoxNode {
public:
  template <class U>
  Box(std::in_place_t /*tag*/, U&& content) : content_(std::forward<U>(content)) {}

  [[nodiscard]] const std::type_info& type() const noexcept override { return typeid(T); }
  [[nodiscard]] const void* content() const noexcept override { return &content_; }

  [[nodiscard]] bool equals(const BoxNode& other) const override {
    if (this == &other) return true;
    if constexpr (hasEquality<T>) {
      return other.type() == typeid(T) && content_ == *static_cast<const T*>(other.content());
    } else {
      return false;
    }
  }

  [[nodiscard]] std::partial_ordering compare(const BoxNode& other) const override {
    if constexpr (hasEquality<T> && std::three_way_comparable<T>) {
      if (other.type() == typeid(T)) return content_ <=> *static_cast<const T*>(other.content());
    }
    return equals(other) ? std::partial_ordering::equivalent : std::partial_ordering::unordered;
  }

  [[nodiscard]] std::size_t hash() const override {
    if constexpr (requires(const T& content) { std::hash<T>{}(content); }) {
      return std::hash<T>{}(content_);
    } else {
      // Equal contents must have equal hashes, and all that is known of them is their type.
      return typeid(T).hash_code();
    }
  }

  [[nodiscard]] std::string description() const override {
    if constexpr (requires(const T& content) { std::string(content.description()); }) {
      return content_.description();
    } else if constexpr (std::derived_from<T, std::exception>) {
      return content_.what();
    } else {
      return '<' + typeName(typeid(T)) + '>';
    }
  }

  [[nodiscard]] const std::exception* exception() const noexcept override {
    if constexpr (std::derived_from<T, std::exception>) return &content_;
    return nullptr;
  }

private:
  T content_;
};

}  // namespace QVFoundation::detail
