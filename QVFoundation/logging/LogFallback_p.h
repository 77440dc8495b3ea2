#pragma once

#include <exception>
#include <functional>
#include <string_view>
#include <type_traits>
#include <utility>

namespace QVFoundation::detail {

/// Says on standard error that a log line was lost, why, and what it was. It never uses a logger, and
/// never throws.
///
/// Threads: any.
void reportLogFailure(std::string_view step, std::string_view message,
                      const std::exception_ptr& failure) noexcept;

/// Runs one step of logging a message. What it throws is reported, and the step's result is then empty.
///
/// Threads: any.
template <class Step>
auto reportingFailure(std::string_view name, std::string_view message, Step&& step) noexcept
    -> std::invoke_result_t<Step> {
  try {
    return std::invoke(std::forward<Step>(step));
  } catch (...) {
    reportLogFailure(name, message, std::current_exception());
    if constexpr (!std::is_void_v<std::invoke_result_t<Step>>) return {};
  }
}

}  // namespace QVFoundation::detail
