#pragma once

#include <string_view>
#include <version>
#ifdef __cpp_lib_format
#include <format>
#endif

#include "QVFoundation/platform/text/Described.h"
#include "QVFoundation/platform/text/StaticText.h"

/// Has `std::format` print what `"%@"` prints, with the specifications of text, such as `{:>20}`: values, errors,
/// URLs, and every other object that has a description, also those of the application's own classes.
///
/// ```cpp
/// std::string line = std::format("{}: {}", file, error);
/// ```
///
/// The header is empty where the standard library has no `std::format` yet.
///
/// Threads: an object is asked on the thread that prints, during the call.
/// Errors: what a description throws goes through.

#ifdef __cpp_lib_format

template <QVFoundation::Described T>
struct std::formatter<T> : std::formatter<std::string_view> {
  template <class Context>
  auto format(const T& object, Context& context) const {
    const auto& description = QVFoundation::descriptionOf(object);
    return std::formatter<std::string_view>::format(description, context);
  }
};

template <>
struct std::formatter<QVFoundation::StaticText> : std::formatter<std::string_view> {
  template <class Context>
  auto format(QVFoundation::StaticText text, Context& context) const {
    return std::formatter<std::string_view>::format(text.view(), context);
  }
};

#endif
