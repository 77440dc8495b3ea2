#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/text/FormatDescription.h"

namespace QVFoundation {

namespace detail {

template <class T>
inline constexpr bool isSmartPointer = false;
template <class T>
inline constexpr bool isSmartPointer<std::shared_ptr<T>> = !std::is_array_v<T>;
template <class T, class Deleter>
inline constexpr bool isSmartPointer<std::unique_ptr<T, Deleter>> = !std::is_array_v<T>;

template <class T>
inline constexpr bool isOptional = false;
template <class T>
inline constexpr bool isOptional<std::optional<T>> = true;

template <class T, class... Choices>
concept IsOneOf = (std::same_as<T, Choices> || ...);

template <class T>
concept CharacterType = IsOneOf<T, char, char8_t, char16_t, char32_t, wchar_t>;

}  // namespace detail

/// One argument of a format, whatever its type: a reference to it and what the formatter must know of it.
///
/// Made from numbers, characters, enumerators (their numbers), texts, pointers, and from objects that
/// `FormatDescription.h` tells how to print. A null pointer and an empty `std::optional` stand for nothing
/// and print as "(null)". A pointer, shared or not, to an object that can be printed stands for the object,
/// and for its address under "%p"; so `const char*` must end in a zero.
///
/// Threads: as safe as what it refers to.
/// Ownership: none. It must not outlive the value that it was made from; numbers, and only they, are copied,
/// but for `long double`.
class FormatArgument {
public:
  enum class Kind : std::uint8_t {
    null,
    boolean,
    character,  ///< a code point; a `char` beyond ASCII is none and counts as a number only
    signedInteger,
    unsignedInteger,
    floating,      ///< `float` and `double`
    longFloating,  ///< `long double`
    text,
    characters,  ///< text that was given as a pointer
    pointer,
    object,
  };

  /// Appends what "%@" prints of an object.
  using Describe = void (*)(std::string& out, const void* object, const NSLocale* locale);

  FormatArgument() noexcept = default;

  template <class T>
    requires(!std::same_as<T, FormatArgument>)
  FormatArgument(const T& value) : FormatArgument(of(value)) {}

  /// An object whose class says nothing about printing.
  FormatArgument(const void* object, Describe describe) noexcept : kind_(Kind::object) {
    content_.address = object;
    extent_.describe = describe;
  }

  [[nodiscard]] Kind kind() const noexcept { return kind_; }
  [[nodiscard]] bool isText() const noexcept { return kind_ == Kind::text || kind_ == Kind::characters; }

  /// The width of the argument's type: 8 to 64 for characters and integers, 32 or 64 for floating numbers.
  [[nodiscard]] unsigned bits() const noexcept { return bits_; }

  // What the kind says, and only that.
  [[nodiscard]] std::int64_t signedInteger() const noexcept {
    return static_cast<std::int64_t>(content_.integer);
  }
  [[nodiscard]] std::uint64_t unsignedInteger() const noexcept { return content_.integer; }
  [[nodiscard]] double floating() const noexcept { return content_.floating; }
  [[nodiscard]] long double longFloating() const noexcept {
    return *static_cast<const long double*>(content_.address);
  }
  [[nodiscard]] std::string_view text() const noexcept {
    return {static_cast<const char*>(content_.address), extent_.size};
  }
  [[nodiscard]] const void* address() const noexcept { return content_.address; }
  void appendDescription(std::string& out, const NSLocale* locale) const {
    extent_.describe(out, content_.address, locale);
  }

private:
  union Content {
    std::uint64_t integer = 0;  // signed ones sign-extended
    double floating;
    const void* address;
  };
  union Extent {
    std::size_t size = 0;
    Describe describe;
  };

  template <class T>
  static FormatArgument of(const T& value) {
    if constexpr (std::same_as<T, std::nullptr_t>) {
      return {};
    } else if constexpr (std::is_arithmetic_v<T>) {
      return ofNumber(value);
    } else if constexpr (std::is_enum_v<T>) {
      return ofNumber(static_cast<std::underlying_type_t<T>>(value));
    } else if constexpr (std::is_array_v<T>) {
      return ofArray(value);
    } else if constexpr (std::is_pointer_v<T>) {
      return ofPointer(value);
    } else if constexpr (detail::isSmartPointer<T>) {
      return ofPointer(value.get());
    } else if constexpr (detail::isOptional<T>) {
      return value ? of(*value) : FormatArgument();
    } else {
      return ofObject(value);
    }
  }

  template <class T>
  static FormatArgument ofNumber(const T& value) noexcept {
    FormatArgument argument;
    argument.bits_ = sizeof(T) * 8;
    if constexpr (std::same_as<T, long double>) {
      argument.kind_ = Kind::longFloating;
      argument.content_.address = &value;
    } else if constexpr (std::floating_point<T>) {
      argument.kind_ = Kind::floating;
      argument.content_.floating = value;
    } else {
      argument.kind_ = std::same_as<T, bool>      ? Kind::boolean
                       : detail::CharacterType<T> ? Kind::character
                       : std::is_signed_v<T>      ? Kind::signedInteger
                                                  : Kind::unsignedInteger;
      argument.content_.integer = static_cast<std::uint64_t>(+value);  // with the sign of what is small
    }
    return argument;
  }

  template <class T, std::size_t size>
  static FormatArgument ofArray(const T (&array)[size]) {
    if constexpr (detail::IsOneOf<T, char, char8_t>) {
      // A buffer need not be full, nor end in a zero.
      const void* end = std::memchr(array, 0, size);
      return ofCharacters(
          array, end != nullptr ? static_cast<std::size_t>(static_cast<const T*>(end) - array) : size);
    } else {
      return ofPointer(&array[0]);
    }
  }

  template <class T>
  static FormatArgument ofPointer(T* pointer) {
    using Pointee = std::remove_cv_t<T>;
    if (pointer == nullptr) return {};
    if constexpr (std::is_function_v<T>) {
      return ofAddress(reinterpret_cast<const void*>(pointer));
    } else if constexpr (std::is_volatile_v<T>) {
      return ofAddress(const_cast<const Pointee*>(pointer));
    } else if constexpr (detail::IsOneOf<Pointee, char, char8_t>) {
      return ofCharacters(pointer, std::char_traits<Pointee>::length(pointer));
    } else if constexpr (detail::CharacterType<Pointee>) {
      return {pointer, [](std::string& out, const void* text, const NSLocale*) {
                detail::appendWideText(out, std::basic_string_view(static_cast<const Pointee*>(text)));
              }};
    } else if constexpr (std::is_class_v<Pointee> && detail::Printable<Pointee>) {
      return describing(*pointer);
    } else {
      return ofAddress(pointer);
    }
  }

  template <class T>
  static FormatArgument ofObject(const T& object) {
    static_assert(
        detail::Printable<T>,
        "this type cannot be printed: give it a member `std::string description() const` or an operator<<");
    if constexpr (!Described<T> && (detail::PrintsAsText<T> || detail::PrintsAsUTF8<T>)) {
      const std::string_view text = detail::textOf(object);
      FormatArgument argument = ofCharacters(text.data(), text.size());
      argument.kind_ = Kind::text;
      return argument;
    } else if constexpr (detail::Printable<T>) {
      return describing(object);
    }
  }

  template <class T>
  static FormatArgument describing(const T& object) noexcept {
    return {std::addressof(object), [](std::string& out, const void* it, const NSLocale* locale) {
              detail::appendDescription(out, *static_cast<const T*>(it), locale);
            }};
  }

  static FormatArgument ofCharacters(const void* text, std::size_t size) noexcept {
    FormatArgument argument;
    argument.kind_ = Kind::characters;
    argument.content_.address = text;
    argument.extent_.size = size;
    return argument;
  }

  static FormatArgument ofAddress(const void* address) noexcept {
    FormatArgument argument;
    argument.kind_ = Kind::pointer;
    argument.content_.address = address;
    return argument;
  }

  Content content_;
  Extent extent_;
  Kind kind_ = Kind::null;
  std::uint8_t bits_ = 0;
};

static_assert(std::is_trivially_copyable_v<FormatArgument>);

/// The arguments of a format: borrowed, like each of them.
using FormatArguments = std::span<const FormatArgument>;

}  // namespace QVFoundation
