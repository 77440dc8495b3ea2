#pragma once

#include <functional>

#include "QVFoundation/platform/files/SystemCalls_p.h"

namespace QVFoundation::testing {

/// Puts a callable in the place of one call of the system for a scope. It gets the original first, then
/// what the call gets. One of a kind at a time, and one thread only.
template <class Result, class... Args>
class SystemHook {
public:
  using Call = Result (*)(Args...);

  template <class Replacement>
  SystemHook(Call detail::SystemCalls::* call, Replacement replacement)
      : call_(call), original_(detail::systemCalls().*call) {
    replacement_ = [original = original_, replacement = std::move(replacement)](Args... args) mutable {
      return static_cast<Result>(replacement(original, args...));
    };
    detail::systemCalls().*call_ = [](Args... args) { return replacement_(args...); };
  }
  SystemHook(const SystemHook&) = delete;
  SystemHook& operator=(const SystemHook&) = delete;
  ~SystemHook() { detail::systemCalls().*call_ = original_; }

private:
  static inline std::function<Result(Args...)> replacement_;
  Call detail::SystemCalls::* const call_;
  const Call original_;
};

template <class Result, class... Args, class Replacement>
SystemHook(Result (*detail::SystemCalls::*)(Args...), Replacement) -> SystemHook<Result, Args...>;

}  // namespace QVFoundation::testing
