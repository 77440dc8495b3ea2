#pragma once

#include <concepts>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/application/NSBundle.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSValueTransformer.h"

/// Value transformers made from names, which a program's bundle may list.
///
/// A name is that of a class without "ValueTransformer" at its end, with arguments after it: "QVHexString-data".
/// Several with "->" between them are a chain: "Trim->QVHexString-data". What such a name can make is what is
/// registered as a transformer, by its own name or as a class by `qv_registerValueTransformerClass`; other
/// classes are out of its reach.
///
/// A program lists in the property list `ValueTransformerInfo.plist` of its bundle which transformers are to
/// be there when it starts:
///
/// ```text
/// transformerClasses            classes that register their transformers themselves
/// dynamicValueTransformerNames  names such as the above, each registered under itself
/// ```
///
/// Threads: functions that may be called from any thread. Where several make the same name at once, all get
/// the same transformer. Classes are called without a lock.
/// Errors: none. What does not exist, or is of the wrong kind, makes nothing.
namespace QVFoundation {

/// The arguments in a name; nothing where it has none.
using QVValueTransformerComponents = std::optional<std::vector<std::string>>;

namespace detail {
struct NamedTransformerClass {
  std::function<std::shared_ptr<NSValueTransformer>(const QVValueTransformerComponents&)> make;
  std::function<void()> initialize;  // empty where there is nothing to do
};
QV_EXPORT bool registerTransformerClass(const NSClass& cls, NamedTransformerClass named);

template <class T>
concept MadeOfComponents = requires(const QVValueTransformerComponents& components) {
  {
    T::qv_valueTransformerWithComponents(components)
  } -> std::convertible_to<std::shared_ptr<NSValueTransformer>>;
};
}  // namespace detail

/// Lets names make transformers of a class, for the life of the process. False where that has been done.
///
/// The class may have a static `qv_valueTransformerWithComponents`, which makes one of the arguments or
/// returns null; without it, a plain instance is made whatever they are. It may have a static `initialize`,
/// which registers transformers under fixed names and is called whenever a list names the class. Both run on
/// the word of a file. The line that makes them known stands in the class's source file:
///
/// ```cpp
/// [[maybe_unused]] const bool registered = qv_registerValueTransformerClass<PercentValueTransformer>();
/// ```
template <std::derived_from<NSValueTransformer> T>
bool qv_registerValueTransformerClass() {
  detail::NamedTransformerClass named;
  if constexpr (detail::MadeOfComponents<T>) {
    named.make = [](const QVValueTransformerComponents& components) {
      return T::qv_valueTransformerWithComponents(components);
    };
  } else {
    named.make = [](const QVValueTransformerComponents&) { return std::make_shared<T>(); };
  }
  if constexpr (requires { T::initialize(); }) named.initialize = [] { T::initialize(); };
  return detail::registerTransformerClass(T::staticClass(), std::move(named));
}

/// What a class makes of arguments; null where it is not registered or does not take them.
[[nodiscard]] QV_EXPORT std::shared_ptr<NSValueTransformer> qv_valueTransformerWithComponents(
    const NSClass& cls, const QVValueTransformerComponents& components);

/// The transformer that is registered under a name, or one made of it as of a class and its arguments. That
/// one is not registered.
[[nodiscard]] QV_EXPORT std::shared_ptr<NSValueTransformer> qv_valueTransformerWithComponentsString(
    std::string_view components);

/// The same for a name that may be a chain. What is made is registered under the name; a chain also where some
/// of its parts, or all of them, could not be made, which are left out.
QV_EXPORT std::shared_ptr<NSValueTransformer> qv_valueTransformerWithDynamicName(std::string_view name);

/// Registers what a bundle lists, by default the program's: first the classes, then the names.
QV_EXPORT void qv_loadTransformers(const NSBundle& bundle = *NSBundle::mainBundle());

/// Registers what the program's bundle lists. Called once when the program starts.
QV_EXPORT void QVValueTransformerInit();

}  // namespace QVFoundation
