#pragma once

#include <concepts>
#include <type_traits>
#include <typeinfo>

#include "QVFoundation/operations/QVAnyResult.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/Task.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/Result.h"

namespace QVFoundation {

class QVOperation;

namespace detail {

/// The side of an operation that knows what it gives; the operation is the other one.
class QV_EXPORT OperationPart {
public:
  OperationPart(const OperationPart&) = delete;
  OperationPart& operator=(const OperationPart&) = delete;

protected:
  OperationPart() = default;
  virtual ~OperationPart();

  /// What the operation has ended in.
  [[nodiscard]] QVAnyResult storedResult() const;
  [[nodiscard]] NSError wrongTypeError(const QVAnyResult& result, const std::type_info& expected) const;
};

/// The body of an asynchronous operation.
///
/// Threads: see `QVAsyncOperation`.
class QV_EXPORT AsyncBody {
public:
  AsyncBody(const AsyncBody&) = delete;
  AsyncBody& operator=(const AsyncBody&) = delete;

  [[nodiscard]] virtual Task<QVAnyResult> performForAnyResult() = 0;

protected:
  AsyncBody() = default;
  virtual ~AsyncBody();
};

/// The body of a blocking operation.
class QV_EXPORT SyncBody {
public:
  SyncBody(const SyncBody&) = delete;
  SyncBody& operator=(const SyncBody&) = delete;

  [[nodiscard]] virtual QVAnyResult performForAnyResult() = 0;

protected:
  SyncBody() = default;
  virtual ~SyncBody();
};

}  // namespace detail

/// What an operation gives: every subclass of `QVOperation` that does work has this from one of the protocols
/// below it. `Output` can be copied; `void` where there is nothing to give.
///
/// Threads: any.
template <class Output>
class QVOperationProtocol : public detail::OperationPart {
  static_assert(std::is_void_v<Output> || std::copy_constructible<Output>,
                "results are kept by the operation and handed out as copies");

public:
  using ResultType = Output;

  /// What the operation has ended in. Before it has run, the failure that it has not.
  [[nodiscard]] Result<Output> result() const {
    const QVAnyResult stored = storedResult();
    if (!stored.hasValue()) return Result<Output>::failure(stored.exception());
    if constexpr (std::is_void_v<Output>) {
      if (stored.isVoid()) return Result<Output>();
    } else {
      if (const auto* value = stored.template as<Output>()) return Result<Output>(*value);
    }
    return Result<Output>::failure(wrongTypeError(stored, typeid(Output)));
  }
};

/// The work of an operation that runs on one thread and blocks it.
///
/// ```cpp
/// class CountWords : public QVOperation, public QVSyncOperationProtocol<std::size_t> {
/// public:
///   explicit CountWords(std::string text) : QVOperation("CountWords"), text_(std::move(text)) {}
///   std::size_t perform() override { ... }
/// };
/// ```
///
/// Threads: `perform` is called on the thread that runs the operation, and nowhere else.
template <class Output>
class QVSyncOperationProtocol : public QVOperationProtocol<Output>, public detail::SyncBody {
public:
  /// Does the work. What it throws is the operation's failure.
  virtual Output perform() = 0;

private:
  [[nodiscard]] QVAnyResult performForAnyResult() final {
    if constexpr (std::is_void_v<Output>) {
      perform();
      return QVAnyResult::success();
    } else {
      return QVAnyResult::success<Output>(perform());
    }
  }
};

/// The work of an operation that is an asynchronous function: see `QVAsyncOperation`.
///
/// Threads: `perform` runs in the operation's task, and nowhere else.
template <class Output>
class QVAsyncOperationProtocol : public QVOperationProtocol<Output>, public detail::AsyncBody {
public:
  /// Does the work. What it throws is the operation's failure.
  virtual Task<Output> perform() = 0;

private:
  [[nodiscard]] Task<QVAnyResult> performForAnyResult() final {
    if constexpr (std::is_void_v<Output>) {
      co_await perform();
      co_return QVAnyResult::success();
    } else {
      auto value = co_await perform();
      co_return QVAnyResult::success<Output>(std::move(value));
    }
  }
};

}  // namespace QVFoundation
