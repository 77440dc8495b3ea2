#pragma once

#include <exception>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>
#include <variant>

#include "QVFoundation/platform/runtime/Result.h"

namespace QVFoundation::detail {

/// Where a coroutine leaves what it gives, or throws, for the one that waits for it.
///
/// Internal: installed because other headers need it.
///
/// Threads: its task's.
template <class T>
class TaskOutcome {
public:
  using Content = std::conditional_t<std::is_void_v<T>, std::monostate, T>;

  TaskOutcome() noexcept {}
  TaskOutcome(const TaskOutcome&) = delete;
  TaskOutcome& operator=(const TaskOutcome&) = delete;
  ~TaskOutcome() {
    if (state_ == State::value) std::destroy_at(&value_);
    if (state_ == State::failure) std::destroy_at(&failure_);
  }

  template <class... Arguments>
  void setValue(Arguments&&... arguments) {
    ::new (static_cast<void*>(&value_)) Content(std::forward<Arguments>(arguments)...);
    state_ = State::value;
  }
  /// Also in place of a value: what stood in the coroutine may throw when it goes.
  void setFailure(std::exception_ptr failure) noexcept {
    if (state_ == State::value) std::destroy_at(&value_);
    ::new (static_cast<void*>(&failure_)) std::exception_ptr(std::move(failure));
    state_ = State::failure;
  }

  [[nodiscard]] bool isSet() const noexcept { return state_ != State::none; }
  T take() {
    if (state_ == State::failure) [[unlikely]]
      std::rethrow_exception(failure_);
    if constexpr (!std::is_void_v<T>) return std::move(value_);
  }
  /// A value that throws when it is moved is lost, and that is the result.
  [[nodiscard]] Result<T> takeResult() noexcept {
    if (state_ == State::failure) return Result<T>::failure(failure_);
    if constexpr (std::is_void_v<T>) {
      return Result<T>();
    } else {
      return Result<T>::of([this]() -> T&& { return std::move(value_); });
    }
  }

private:
  enum class State : unsigned char { none, value, failure };

  union {
    Content value_;
    std::exception_ptr failure_;
  };
  State state_ = State::none;
};

}  // namespace QVFoundation::detail
