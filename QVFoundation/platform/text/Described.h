#pragma once

#include <concepts>
#include <iosfwd>
#include <string_view>

#include "QVFoundation/platform/Export.h"

/// What has a description, and how streams print it. `std::format` and fmt print the same with the headers
/// `QVFoundation/adapters/StdFormatter.h` and `FmtFormatter.h`.
///
/// Threads: an object is asked on the thread that prints, during the call.
namespace QVFoundation {

class NSLocale;

namespace detail {

template <class T>
concept DescribedWithLocaleAndIndent = requires(const T& object, const NSLocale* locale) {
  { object.descriptionWithLocale(locale, 0U) } -> std::convertible_to<std::string_view>;
};

// A parameter that also takes a number is some setting of the class, no locale.
template <class T>
concept DescribedWithLocale = requires(const T& object, const NSLocale* locale) {
  { object.description(locale) } -> std::convertible_to<std::string_view>;
} && !requires(const T& object) { object.description(1); };

QV_EXPORT std::ostream& writeDescription(std::ostream& stream, std::string_view description);

}  // namespace detail

/// A class that says itself what is to be printed of it, by one of these members. Of several the first counts:
///
/// 1. `descriptionWithLocale(const NSLocale* locale, unsigned indent) const`, asked with an indent of 0,
/// 2. `description(const NSLocale* locale) const`,
/// 3. `description() const`.
template <class T>
concept Described =
    detail::DescribedWithLocaleAndIndent<T> || detail::DescribedWithLocale<T> || requires(const T& object) {
      { object.description() } -> std::convertible_to<std::string_view>;
    };

/// What "%@" prints of an object; null stands for no locale.
template <Described T>
[[nodiscard]] decltype(auto) descriptionOf(const T& object, const NSLocale* locale = nullptr) {
  if constexpr (detail::DescribedWithLocaleAndIndent<T>) {
    return object.descriptionWithLocale(locale, 0U);
  } else if constexpr (detail::DescribedWithLocale<T>) {
    return object.description(locale);
  } else {
    return object.description();
  }
}

/// Prints an object of a class of this library, or of one that derives from such a class, with the width and
/// the fill of the stream.
template <Described T>
std::ostream& operator<<(std::ostream& stream, const T& object) {
  return detail::writeDescription(stream, descriptionOf(object));
}

}  // namespace QVFoundation
