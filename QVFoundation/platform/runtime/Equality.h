#pragma once

#include <concepts>
#include <cstddef>
#include <optional>
#include <ranges>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>

/// Internal: installed because other headers need it.
///
/// Threads: nothing here exists at run time.
namespace QVFoundation::detail {

template <class T>
inline constexpr bool hasEquality = false;

template <class T>
inline constexpr bool hasEqualAlternatives = true;
template <class Content>
inline constexpr bool hasEqualAlternatives<std::optional<Content>> = hasEquality<Content>;
template <class... Alternatives>
inline constexpr bool hasEqualAlternatives<std::variant<Alternatives...>> =
    (hasEquality<Alternatives> && ...);

template <class T>
concept TupleLike = requires { std::tuple_size<T>::value; };

template <class T>
[[nodiscard]] consteval bool hasEqualParts() {
  if constexpr (requires(const T& value) { value.operator==(value); }) {
    return true;
  } else if constexpr (std::ranges::input_range<const T>) {
    using Element = std::ranges::range_value_t<const T>;
    return std::same_as<Element, T> || hasEquality<Element>;  // a path is a range of paths
  } else if constexpr (TupleLike<T>) {
    return []<std::size_t... index>(std::index_sequence<index...>) {
      return (hasEquality<std::remove_cv_t<std::tuple_element_t<index, T>>> && ...);
    }(std::make_index_sequence<std::tuple_size_v<T>>());
  } else {
    return hasEqualAlternatives<T>;
  }
}

/// Whether two values of a type can be compared with `==`, also if they consist of others: the standard's
/// lists, pairs and variants declare an `==` for elements that have none, which does not compile.
template <std::equality_comparable T>
inline constexpr bool hasEquality<T> = hasEqualParts<T>();

}  // namespace QVFoundation::detail
