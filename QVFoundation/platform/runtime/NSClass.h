#pragma once

#include <concepts>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/ChangeNotice.h"
#include "QVFoundation/platform/runtime/ElementAccess.h"
#include "QVFoundation/platform/runtime/MadeByName.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/PropertyTest.h"
#include "QVFoundation/platform/runtime/Value.h"

namespace QVFoundation {

/// One property of a class, reachable by name.
struct NSProperty {
  std::string name;
  std::function<Value(const NSObject&)> get;
  /// False where the value does not fit; empty where the property is read-only.
  std::function<bool(NSObject&, const Value&)> set;
  /// Key paths, seen from the object, whose changes change this property as well.
  std::vector<std::string> affectedBy = {};
  /// Nothing where the property is no list.
  std::optional<ElementAccess> elements = {};
  /// Makes tests that compare the property where it stands; empty where only `get` can tell.
  detail::PropertyTestMaker makeTest = {};
};

template <class T>
class NSClassDefinition;

namespace detail {
template <class T>
inline constexpr bool isSharedPointer = false;
template <class T>
inline constexpr bool isSharedPointer<std::shared_ptr<T>> = true;

/// A value as what a property stores; nothing where it does not fit.
template <class Stored>
std::optional<Stored> contentOf(const Value& value) {
  auto content = value.as<Stored>();
  if constexpr (isSharedPointer<Stored>) {
    if (value.isNothing()) content.emplace();  // what a null pointer reads as can be written back
  }
  return content;
}

/// Whether a class has no `valueForKey` of its own. One that hides it or makes its name ambiguous may have.
template <class T>
inline constexpr bool inheritsValueForKey = false;
template <class T>
  requires requires {
    { &T::valueForKey } -> std::same_as<Value (NSObject::*)(std::string_view) const>;
  }
inline constexpr bool inheritsValueForKey<T> = true;
}  // namespace detail

/// A class as data: its name, its superclass, its properties, and how to make an instance.
///
/// Classes register themselves by name while they live; `staticClass()` keeps them for the life of the
/// process. A class that must be found by name before anybody has used it registers itself when the program
/// starts, with a line in its source file:
///
/// ```cpp
/// [[maybe_unused]] static const NSClass& registered = Track::staticClass();
/// ```
///
/// Threads: immutable once made; the registry may be asked from any thread.
class QV_EXPORT NSClass {
public:
  /// Begins the description of the C++ class `T`; see `NSObject` for an example.
  template <class T>
  [[nodiscard]] static NSClassDefinition<T> define(std::string name, const NSClass& superclass) {
    return {std::move(name), &superclass};
  }
  template <class T>
  [[nodiscard]] static NSClassDefinition<T> define(std::string name) {
    return {std::move(name), nullptr};
  }

  template <class T>
  NSClass(NSClassDefinition<T>&& definition) : NSClass(std::move(definition).parts()) {}
  /// A class that is only a name, such as the class of an error.
  NSClass(std::string name, const NSClass& superclass);
  NSClass(const NSClass&) = delete;
  NSClass& operator=(const NSClass&) = delete;
  ~NSClass();

  /// The class registered under a name, or null. Of several with one name the first that was registered
  /// is found.
  [[nodiscard]] static const NSClass* named(std::string_view name);

  [[nodiscard]] const std::string& name() const noexcept { return parts_.name; }
  [[nodiscard]] const NSClass* superclass() const noexcept { return parts_.superclass; }
  /// True for the class itself as well.
  [[nodiscard]] bool isSubclassOf(const NSClass& other) const noexcept;
  /// True when this class describes exactly that C++ type.
  [[nodiscard]] bool describes(const std::type_info& type) const noexcept {
    return parts_.type != nullptr && *parts_.type == type;
  }

  /// True when `valueForKey` of objects of exactly that C++ type does nothing but ask the property, so that
  /// who reads many of them may ask it himself.
  [[nodiscard]] bool isReadThroughProperties(const std::type_info& type) const noexcept {
    return describes(type) && parts_.inheritsValueForKey;
  }

  /// The property of that name, inherited ones included; null where there is none.
  [[nodiscard]] const NSProperty* property(std::string_view name) const noexcept;
  /// All properties, the superclass's first, each in the order in which it was listed.
  [[nodiscard]] std::vector<const NSProperty*> properties() const;

  /// A new instance; null for a class that cannot be made without arguments.
  [[nodiscard]] std::shared_ptr<NSObject> make() const { return parts_.make ? parts_.make() : nullptr; }
  /// Whether an instance may be made because a file names the class; see `MadeByName`.
  [[nodiscard]] bool isMadeByName() const noexcept { return parts_.isMadeByName && parts_.make; }

private:
  template <class T>
  friend class NSClassDefinition;

  struct Parts {
    std::string name;
    const NSClass* superclass = nullptr;
    const std::type_info* type = nullptr;
    std::function<std::shared_ptr<NSObject>()> make;
    std::vector<NSProperty> properties;
    bool inheritsValueForKey = false;
    bool isMadeByName = false;
  };

  explicit NSClass(Parts parts);

  Parts parts_;
  std::vector<const NSProperty*> propertiesByName_;  // sorted; inherited ones included
};

/// Collects what describes the C++ class `T`; made by `NSClass::define`, turned into an `NSClass` at the end.
///
/// Threads: used by one thread, once.
template <class T>
class NSClassDefinition {
public:
  /// A property that can be read and written. The getter and the setter are members of `T` or callables that
  /// take a `T&`. The setter tells observers, with a `ChangeNotice`.
  template <class Getter, class Setter>
  NSClassDefinition&& property(std::string name, Getter getter, Setter setter) && {
    using Stored = std::decay_t<std::invoke_result_t<Getter&, const T&>>;
    auto set = [setter](NSObject& object, const Value& value) {
      auto content = detail::contentOf<Stored>(value);
      if (!content) return false;
      std::invoke(setter, static_cast<T&>(object), *std::move(content));
      return true;
    };
    std::optional<ElementAccess> elements;
    if constexpr (detail::isList<Stored>) {
      elements = detail::readingAccess<T>(getter);
      detail::addWritingAccess<Stored>(*elements, [getter, setter](NSObject& object, const auto& change) {
        Stored list = std::invoke(getter, static_cast<const T&>(object));
        change(list);
        std::invoke(setter, static_cast<T&>(object), std::move(list));
      });
    }
    return std::move(*this).add({std::move(name),
                                 reader(getter),
                                 std::move(set),
                                 {},
                                 std::move(elements),
                                 detail::propertyTestMaker<T>(getter)});
  }

  /// A data member that is read and written by name. Observers hear of what is written that way, or through a
  /// `MutableArrayProxy`, without any setter.
  template <class Stored>
  NSClassDefinition&& stored(std::string name, Stored T::* member) && {
    auto set = [member, name](NSObject& object, const Value& value) {
      auto content = detail::contentOf<Stored>(value);
      if (!content) return false;
      const ChangeNotice notice(object, name);
      static_cast<T&>(object).*member = *std::move(content);
      return true;
    };
    std::optional<ElementAccess> elements;
    if constexpr (detail::isList<Stored>) {
      elements = detail::readingAccess<T>(member);
      detail::addWritingAccess<Stored>(*elements, [member](NSObject& object, const auto& change) {
        change(static_cast<T&>(object).*member);
      });
    }
    return std::move(*this).add({std::move(name),
                                 reader(member),
                                 std::move(set),
                                 {},
                                 std::move(elements),
                                 detail::propertyTestMaker<T>(member)});
  }

  /// A property that can only be read.
  template <class Getter>
  NSClassDefinition&& readOnly(std::string name, Getter getter) && {
    std::optional<ElementAccess> elements;
    if constexpr (detail::isList<std::decay_t<std::invoke_result_t<Getter&, const T&>>>) {
      elements = detail::readingAccess<T>(getter);
    }
    return std::move(*this).add(
        {std::move(name), reader(getter), {}, {}, std::move(elements), detail::propertyTestMaker<T>(getter)});
  }

  /// Says of the property just listed which others it is made from: whoever observes it hears of their changes
  /// too. Key paths such as "account.balance" are followed.
  NSClassDefinition&& affectedBy(std::vector<std::string> keyPaths) && {
    parts_.properties.back().affectedBy = std::move(keyPaths);
    return std::move(*this);
  }

private:
  friend class NSClass;

  NSClassDefinition(std::string name, const NSClass* superclass) {
    parts_.name = std::move(name);
    parts_.superclass = superclass;
    parts_.type = &typeid(T);
    parts_.inheritsValueForKey = detail::inheritsValueForKey<T>;
    parts_.isMadeByName = std::derived_from<T, MadeByName>;
    if constexpr (std::is_default_constructible_v<T> && !std::is_abstract_v<T>) {
      parts_.make = [] { return std::make_shared<T>(); };
    }
  }

  NSClassDefinition&& add(NSProperty property) && {
    parts_.properties.push_back(std::move(property));
    return std::move(*this);
  }

  template <class Getter>
  static std::function<Value(const NSObject&)> reader(Getter getter) {
    return [getter = std::move(getter)](const NSObject& object) {
      return Value(std::invoke(getter, static_cast<const T&>(object)));
    };
  }

  NSClass::Parts parts() && { return std::move(parts_); }

  NSClass::Parts parts_;
};

}  // namespace QVFoundation
