#pragma once

#include <cmath>
#include <concepts>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Value.h"

/// Internal: installed because other headers need it.
///
/// Comparing a property of many objects with one value, where it stands: no `Value` is made for each of them.
///
/// Threads: immutable once made; the objects that are read are bound by the rules of their class.
namespace QVFoundation::detail {

/// One value to compare with, prepared for a property of one class.
class QV_EXPORT PropertyTest {
public:
  PropertyTest(const PropertyTest&) = delete;
  PropertyTest& operator=(const PropertyTest&) = delete;
  virtual ~PropertyTest();

  /// The index of the first object whose property equals the value, or which is null or not of exactly that
  /// C++ type and so not for this test to judge; their number where there is no such object. Without a type,
  /// all are known to be of the one that the test is for.
  [[nodiscard]] virtual std::size_t firstStop(std::span<const NSObject* const> objects,
                                              const std::type_info* type) const = 0;

protected:
  PropertyTest() = default;
};

/// Types whose values are never nothing, and that compare among themselves as they do as values. Numbers keep
/// no more than a `double` does.
template <class T>
concept Plain = (std::is_arithmetic_v<T> && !std::same_as<T, long double>) || std::same_as<T, std::string>;

/// What a property must hold to equal the value; nothing where its type cannot.
template <Plain T>
std::optional<T> equalContent(const Value& value) {
  if constexpr (std::same_as<T, std::string>) {
    return value.as<T>();
  } else {
    // To the nearest, where `exactly` allows it; the second look tells whether it is the number itself.
    const auto number = value.as<T>();
    return number && NSNumber(*number) == *value.number() ? number : std::nullopt;
  }
}

/// As `NSNumber` and texts compare: not-a-number equals itself.
template <Plain T>
bool equalContents(const T& a, const T& b) noexcept {
  if constexpr (std::floating_point<T>) return a == b || (std::isnan(a) && std::isnan(b));
  return a == b;
}

template <class T, class Getter, Plain Content>
class PlainPropertyTest final : public PropertyTest {
public:
  PlainPropertyTest(Getter getter, std::optional<Content> wanted)
      : getter_(std::move(getter)), wanted_(std::move(wanted)) {}

  [[nodiscard]] std::size_t firstStop(std::span<const NSObject* const> objects,
                                      const std::type_info* type) const override {
    if (type == nullptr) return firstStop(objects, [](const NSObject&) { return true; });
    return firstStop(objects, [type](const NSObject& object) { return &typeid(object) == type; });
  }

private:
  template <class IsOfType>
  [[nodiscard]] std::size_t firstStop(std::span<const NSObject* const> objects, IsOfType isOfType) const {
    const Getter getter = getter_;  // nobody can change a copy, so it stays in registers
    const Content* const wanted = wanted_ ? &*wanted_ : nullptr;
    for (std::size_t i = 0; i < objects.size(); ++i) {
      const NSObject* object = objects[i];
      if (object == nullptr || !isOfType(*object)) return i;
      const Content& content =
          std::invoke(getter, static_cast<const T&>(*object));  // it may raise in any case
      if (wanted != nullptr && equalContents(content, *wanted)) return i;
    }
    return objects.size();
  }

  const Getter getter_;
  const std::optional<Content> wanted_;
};

using PropertyTestMaker = std::function<std::unique_ptr<PropertyTest>(const Value&)>;

/// Makes tests of what a getter gives; empty where that has to become a `Value` to be compared.
template <class T, class Getter>
PropertyTestMaker propertyTestMaker(const Getter& getter) {
  using Content = std::decay_t<std::invoke_result_t<const Getter&, const T&>>;
  if constexpr (Plain<Content>) {
    return [getter](const Value& wanted) {
      return std::make_unique<PlainPropertyTest<T, Getter, Content>>(getter, equalContent<Content>(wanted));
    };
  } else {
    return {};
  }
}

}  // namespace QVFoundation::detail
