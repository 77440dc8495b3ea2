#pragma once

#include <concepts>
#include <exception>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/text/Described.h"

/// What "%@" prints of an object. The first of these that its class offers is what counts:
///
/// 1. its description, see `Described`,
/// 2. its text: whatever converts to `std::string_view`, UTF-16 and wide strings, file system paths,
/// 3. `what() const` of an exception,
/// 4. `operator<<` for a `std::ostream`, with the settings of the "C" locale.
///
/// So a class of yours takes part with one member:
///
/// ```cpp
/// struct Track {
///   std::string artist, title;
///   std::string description() const { return artist + ": " + title; }
/// };
/// logger->logInfo("playing %@", track);
/// ```
///
/// Threads: an object is asked on the thread that formats, during the call.

namespace QVFoundation::detail {

// Told by its member, so that no one has to include <filesystem> who has no paths.
template <class T>
concept PrintsAsPath = requires(const T& path) {
  { path.native() } -> std::same_as<const std::string&>;
};

template <class T>
concept PrintsAsText = PrintsAsPath<T> || std::convertible_to<const T&, std::string_view>;

template <class T>
concept PrintsAsWideText =
    std::convertible_to<const T&, std::u16string_view> ||
    std::convertible_to<const T&, std::u32string_view> || std::convertible_to<const T&, std::wstring_view>;

template <class T>
concept PrintsAsUTF8 = std::convertible_to<const T&, std::u8string_view>;

template <class T>
concept PrintsToStream = requires(std::ostream& stream, const T& object) { stream << object; };

/// Whether `appendDescription` can print a `T`. A class that is only declared so far is not known to
/// be printable.
template <class T>
concept Printable =
    requires { sizeof(T); } && (Described<T> || PrintsAsText<T> || PrintsAsUTF8<T> || PrintsAsWideText<T> ||
                                std::derived_from<T, std::exception> || PrintsToStream<T>);

QV_EXPORT void appendWideText(std::string& out, std::u16string_view text);
QV_EXPORT void appendWideText(std::string& out, std::u32string_view text);
QV_EXPORT void appendWideText(std::string& out, std::wstring_view text);

/// Appends what `stream` writes of the object.
QV_EXPORT void appendStreamed(std::string& out, void (*stream)(std::ostream& out, const void* object),
                              const void* object);

/// The text that a path or a string of bytes is.
template <class T>
  requires(PrintsAsText<T> || PrintsAsUTF8<T>)
std::string_view textOf(const T& text) {
  if constexpr (PrintsAsPath<T>) {
    return text.native();
  } else if constexpr (PrintsAsUTF8<T>) {
    const std::u8string_view view = text;
    return {reinterpret_cast<const char*>(view.data()), view.size()};
  } else {
    return text;
  }
}

/// Appends what "%@" prints of an object.
template <Printable T>
void appendDescription(std::string& out, const T& object, const NSLocale* locale) {
  if constexpr (Described<T>) {
    out += std::string_view(descriptionOf(object, locale));
  } else if constexpr (PrintsAsText<T> || PrintsAsUTF8<T>) {
    out += textOf(object);
  } else if constexpr (PrintsAsWideText<T>) {
    appendWideText(out, object);
  } else if constexpr (std::derived_from<T, std::exception>) {
    out += object.what();
  } else {
    const auto stream = [](std::ostream& to, const void* it) { to << *static_cast<const T*>(it); };
    appendStreamed(out, stream, std::addressof(object));
  }
}

}  // namespace QVFoundation::detail
