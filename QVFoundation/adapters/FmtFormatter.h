#pragma once

#include <concepts>

#include <fmt/format.h>
#if __has_include(<fmt/ranges.h>)
#include <fmt/ranges.h>
#endif

#include "QVFoundation/platform/text/Described.h"
#include "QVFoundation/platform/text/StaticText.h"

/// Has fmt print what `"%@"` prints, with the specifications of text, such as `{:>20}`: values, errors, URLs,
/// and every other object that has a description, also those of the application's own classes.
///
/// ```cpp
/// fmt::print("{}: {}\n", file, error);
/// ```
///
/// The header needs fmt 9 or later (`pkg-config fmt`); the library itself does not. Where fmt would take a
/// collection for a range, its description counts.
///
/// Threads: an object is asked on the thread that prints, during the call.
/// Errors: what a description throws goes through.

template <QVFoundation::Described T>
struct fmt::formatter<T> : fmt::formatter<fmt::string_view> {
  template <class Context>
  auto format(const T& object, Context& context) const {
    const auto& description = QVFoundation::descriptionOf(object);
    const std::string_view text(description);
    return fmt::formatter<fmt::string_view>::format({text.data(), text.size()}, context);
  }
};

template <>
struct fmt::formatter<QVFoundation::StaticText> : fmt::formatter<fmt::string_view> {
  template <class Context>
  auto format(QVFoundation::StaticText text, Context& context) const {
    return fmt::formatter<fmt::string_view>::format({text.view().data(), text.view().size()}, context);
  }
};

#if __has_include(<fmt/ranges.h>)
template <QVFoundation::Described T>
struct fmt::is_range<T, char> : std::false_type {};
#endif
