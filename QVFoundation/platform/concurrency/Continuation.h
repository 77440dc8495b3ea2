#pragma once

#include <atomic>
#include <concepts>
#include <exception>
#include <memory>
#include <optional>
#include <source_location>
#include <string>
#include <type_traits>
#include <utility>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/TaskPromise.h"
#include "QVFoundation/platform/concurrency/TaskSuspension.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/Result.h"

namespace QVFoundation {

namespace detail {

/// What the copies of a continuation share: that one of them resumes the wait, and one at all.
///
/// Internal: installed because other headers need it.
///
/// Threads: any.
class QV_EXPORT ContinuationCheck {
public:
  ContinuationCheck(const char* label, const std::source_location& place) noexcept
      : label_(label), place_(place) {}
  ContinuationCheck(const ContinuationCheck&) = delete;
  ContinuationCheck& operator=(const ContinuationCheck&) = delete;
  /// Ends the process where nobody has resumed the wait: nobody can any more.
  ~ContinuationCheck();

  /// False where nobody waits, because the body has thrown. A second call ends the process.
  [[nodiscard]] bool claim() noexcept;
  /// False where the wait is, or was, resumed all the same.
  [[nodiscard]] bool abandon() noexcept {
    State expected = State::open;
    return state_.compare_exchange_strong(expected, State::abandoned);
  }

private:
  enum class State : unsigned char { open, used, abandoned };

  [[nodiscard]] std::string label() const;

  const char* const label_;  // or null
  const std::source_location place_;
  std::atomic<State> state_{State::open};
};

template <class T>
class ContinuationAwaiterOf;

}  // namespace detail

/// Lets a task go on that waits for something that is no task: the answer of a server, the end of a callback.
///
/// Exactly one of its copies is used, exactly once: a second time, and dropping the last copy unused, which
/// would leave the task waiting for ever, end the process with the label of the wait.
///
/// Threads: any, also before `withContinuation` has returned from the body. The task goes on through its own
/// queue, not inside of `resume`.
/// Ownership: copies share. It does not keep what it is for.
template <class T>
class Continuation {
public:
  void resume() const
    requires std::is_void_v<T>
  {
    give(Result<T>());
  }
  template <class U = T>
    requires(!std::is_void_v<T> && std::constructible_from<T, U>)
  void resume(U&& value) const {
    give(Result<T>(T(std::forward<U>(value))));
  }

protected:
  void give(Result<T> result) const {
    if (check_->claim()) awaiter_->resume(std::move(result));
  }

private:
  template <class>
  friend class detail::ContinuationAwaiterOf;
  Continuation(std::shared_ptr<detail::ContinuationCheck> check,
               detail::ContinuationAwaiterOf<T>& awaiter) noexcept
      : check_(std::move(check)), awaiter_(&awaiter) {}

  std::shared_ptr<detail::ContinuationCheck> check_;
  detail::ContinuationAwaiterOf<T>* awaiter_;
};

/// One that may also end the wait with a failure.
///
/// Threads: as `Continuation`.
template <class T>
class ThrowingContinuation : public Continuation<T> {
public:
  explicit ThrowingContinuation(const Continuation<T>& base) noexcept : Continuation<T>(base) {}

  void resumeThrowing(std::exception_ptr exception) const {
    this->give(Result<T>::failure(std::move(exception)));
  }
  void resumeThrowing(const NSError& error) const { this->give(Result<T>::failure(error)); }
  void resumeWith(Result<T> result) const { this->give(std::move(result)); }
};

namespace detail {

template <class T>
class ContinuationAwaiterOf : public TaskAwaitable {
public:
  [[nodiscard]] bool await_ready() const noexcept { return false; }
  T await_resume() {
    if (thrown_ != nullptr) [[unlikely]]
      std::rethrow_exception(std::move(thrown_));
    return valueOf(*std::move(result_));
  }
  void resume(Result<T>&& result) noexcept {
    try {
      result_.emplace(std::move(result));
    } catch (...) {
      result_.emplace(Result<T>::failure(std::current_exception()));
    }
    suspension_.resume();
  }

protected:
  /// What the body throws, nobody waits for any more.
  template <class Body>
  [[nodiscard]] bool sleep(TaskPromise& caller, const std::shared_ptr<ContinuationCheck>& check, Body& body) {
    suspension_.prepareFor(caller);
    try {
      body(Continuation<T>(check, *this));
    } catch (...) {
      if (check->abandon()) throw;
      thrown_ = std::current_exception();  // after whoever resumes the wait, who may still be at it
    }
    return suspension_.sleep();
  }

private:
  TaskSuspension suspension_;
  std::optional<Result<T>> result_;
  std::exception_ptr thrown_;  // by the body
};

template <class T, class Kind, class Body>
class ContinuationAwaiter final : public ContinuationAwaiterOf<T> {
public:
  ContinuationAwaiter(Body body, const char* label, const std::source_location& place)
      : body_(std::move(body)), label_(label), place_(place) {}

  [[nodiscard]] bool await_suspend(TaskPromise& caller) {
    const auto check = std::make_shared<ContinuationCheck>(label_, place_);
    auto body = [this](const Continuation<T>& continuation) { body_(Kind(continuation)); };
    return this->sleep(caller, check, body);
  }

private:
  Body body_;
  const char* const label_;
  const std::source_location place_;
};

}  // namespace detail

/// Calls a body with a continuation, at once and on this thread, and waits until somebody uses that. Gives
/// what it is resumed with.
///
/// ```cpp
/// const Answer answer = co_await withContinuation<Answer>([&](Continuation<Answer> waiting) {
///   server->ask(question, [waiting](Answer answer) { waiting.resume(std::move(answer)); });
/// });
/// ```
///
/// Threads: awaited inside of a task. Cancelling the task does not end the wait: see
/// `withTaskCancellationHandler`.
/// Errors: what the body throws; what a throwing continuation is resumed with. The label tells which wait it
/// is in the message for a continuation that is misused; unless given it is the function's name.
template <class T, std::invocable<Continuation<T>> Body>
[[nodiscard]] auto withContinuation(Body body, const char* label = nullptr,
                                    const std::source_location& place = std::source_location::current()) {
  return detail::ContinuationAwaiter<T, Continuation<T>, Body>(std::move(body), label, place);
}

/// The same with a continuation that may also fail.
template <class T, std::invocable<ThrowingContinuation<T>> Body>
[[nodiscard]] auto withThrowingContinuation(
    Body body, const char* label = nullptr,
    const std::source_location& place = std::source_location::current()) {
  return detail::ContinuationAwaiter<T, ThrowingContinuation<T>, Body>(std::move(body), label, place);
}

}  // namespace QVFoundation
