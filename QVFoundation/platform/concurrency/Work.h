#pragma once

#include <concepts>
#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

/// Internal: installed because other headers need it.
///
/// Threads: moved from thread to thread, used by one at a time.
namespace QVFoundation::detail {

/// A piece of work that runs once: any callable that can be moved. A small one needs no memory of its own.
class Work {
public:
  Work() noexcept = default;

  template <class Body>
    requires(!std::same_as<std::remove_cvref_t<Body>, Work>) && std::invocable<std::decay_t<Body>&>
  Work(Body&& body) {
    using Callable = std::decay_t<Body>;
    if constexpr (fits<Callable>) {
      ::new (place_) Callable(std::forward<Body>(body));
      actions_ = &inPlace<Callable>;
    } else {
      ::new (place_) auto(new Callable(std::forward<Body>(body)));
      actions_ = &elsewhere<Callable>;
    }
  }

  Work(Work&& other) noexcept { takeFrom(other); }
  Work& operator=(Work&& other) noexcept {
    if (this != &other) {
      reset();
      takeFrom(other);
    }
    return *this;
  }
  ~Work() { reset(); }

  [[nodiscard]] explicit operator bool() const noexcept { return actions_ != nullptr; }
  void operator()() { actions_->run(place_); }
  /// Lets go of the callable and of what it holds.
  void reset() noexcept {
    if (const Actions* actions = std::exchange(actions_, nullptr); actions != nullptr && actions->destroy) {
      actions->destroy(place_);
    }
  }

private:
  struct Actions {
    void (*run)(void* place);
    void (*move)(void* to, void* from) noexcept;  // null where bytes will do
    void (*destroy)(void* place) noexcept;        // null where there is nothing to do
  };

  static constexpr std::size_t room = 48;

  template <class Callable>
  static constexpr bool fits = sizeof(Callable) <= room && alignof(Callable) <= alignof(void*) &&
                               std::is_nothrow_move_constructible_v<Callable>;

  template <class Callable>
  static Callable& at(void* place) noexcept {
    return *std::launder(static_cast<Callable*>(place));
  }

  template <class Callable>
  static constexpr Actions inPlace{
      .run = [](void* place) { std::invoke(at<Callable>(place)); },
      .move = std::is_trivially_copyable_v<Callable>
                  ? nullptr
                  : +[](void* to, void* from) noexcept {
                      ::new (to) Callable(std::move(at<Callable>(from)));
                      std::destroy_at(&at<Callable>(from));
                    },
      .destroy = std::is_trivially_destructible_v<Callable>
                     ? nullptr
                     : +[](void* place) noexcept { std::destroy_at(&at<Callable>(place)); }};

  template <class Callable>
  static constexpr Actions elsewhere{.run = [](void* place) { std::invoke(*at<Callable*>(place)); },
                                     .move = nullptr,
                                     .destroy = [](void* place) noexcept { delete at<Callable*>(place); }};

  void takeFrom(Work& other) noexcept {
    actions_ = std::exchange(other.actions_, nullptr);
    if (actions_ == nullptr) return;
    if (actions_->move != nullptr) {
      actions_->move(place_, other.place_);
    } else {
      std::memcpy(place_, other.place_, room);
    }
  }

  const Actions* actions_ = nullptr;
  alignas(void*) std::byte place_[room];
};

}  // namespace QVFoundation::detail
