#pragma once

#include <concepts>
#include <exception>
#include <functional>
#include <type_traits>
#include <utility>
#include <variant>

#include "QVFoundation/platform/runtime/ErrorConversion.h"
#include "QVFoundation/platform/runtime/NSError.h"

namespace QVFoundation {

/// A value, or the failure that came instead of it, exactly as it was thrown.
///
/// ```cpp
/// const Result<int> size = Result<int>::of([&] { return measure(path); });
/// if (size) use(*size);
/// else present(size.error());
/// ```
///
/// Threads: a value; reading it from several threads is safe as far as it is for a `T`.
template <class T>
class [[nodiscard]] Result {
public:
  using Content = std::conditional_t<std::is_void_v<T>, std::monostate, T>;

  Result()
    requires std::is_void_v<T>
  = default;
  template <class U = Content>
    requires(!std::is_void_v<T> && std::constructible_from<Content, U> &&
             !std::same_as<std::remove_cvref_t<U>, Result>)
  explicit(!std::convertible_to<U, Content>) Result(U&& value)
      : content_(std::in_place_index<0>, std::forward<U>(value)) {}

  /// A failure; `exception` must not be null.
  static Result failure(std::exception_ptr exception) { return Result(Failed{}, std::move(exception)); }
  static Result failure(const NSError& error) { return failure(std::make_exception_ptr(error)); }

  /// What a callable returns or throws.
  template <class Callable>
  static Result of(Callable&& callable) {
    try {
      if constexpr (std::is_void_v<T>) {
        std::invoke(std::forward<Callable>(callable));
        return Result();
      } else {
        return Result(std::invoke(std::forward<Callable>(callable)));
      }
    } catch (...) {
      return failure(std::current_exception());
    }
  }

  [[nodiscard]] bool hasValue() const noexcept { return content_.index() == 0; }
  explicit operator bool() const noexcept { return hasValue(); }

  /// The value. A failure is thrown again as the type that it had.
  const Content& value() const& {
    if (!hasValue()) std::rethrow_exception(exception());
    return *std::get_if<0>(&content_);
  }
  Content&& value() && {
    if (!hasValue()) std::rethrow_exception(exception());
    return std::move(*std::get_if<0>(&content_));
  }
  const Content& operator*() const& { return value(); }
  Content&& operator*() && { return std::move(*this).value(); }
  const Content* operator->() const { return &value(); }

  /// The failure as an error; only where there is no value.
  [[nodiscard]] NSError error() const { return asNSError(exception()); }
  /// The failure as it was thrown; null where there is a value.
  [[nodiscard]] std::exception_ptr exception() const noexcept {
    const auto* failure = std::get_if<1>(&content_);
    return failure != nullptr ? *failure : nullptr;
  }

private:
  struct Failed {};
  Result(Failed, std::exception_ptr exception) : content_(std::in_place_index<1>, std::move(exception)) {}

  std::variant<Content, std::exception_ptr> content_;
};

}  // namespace QVFoundation
