#pragma once

#include <concepts>
#include <type_traits>
#include <utility>

#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/concurrency/Task.h"
#include "QVFoundation/platform/concurrency/TaskState.h"

namespace QVFoundation {

/// The main thread, for tasks.
///
/// Threads: awaited inside of a task.
class MainActor {
public:
  /// Runs on the main thread what a plain function does, or an asynchronous one, and gives what it gives.
  /// Whoever awaits it goes on where it was.
  ///
  /// ```cpp
  /// const bool goesOn = co_await MainActor::run([&] { return window->asks("Replace the file?"); });
  /// ```
  template <class Callable>
    requires std::invocable<Callable&>
  static Task<detail::OutputOfTask<Callable&>> run(Callable callable) {
    co_await DispatchQueue::main();
    if constexpr (detail::givesTask<Callable&>) {
      co_return co_await callable();
    } else {
      co_return callable();
    }
  }
};

}  // namespace QVFoundation
