#pragma once

#include <functional>
#include <utility>

#include "QVFoundation/operations/QVAsyncOperation.h"
#include "QVFoundation/operations/QVOperationProtocol.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/Task.h"

namespace QVFoundation {

namespace detail {
/// The class of all such operations, whatever they give.
[[nodiscard]] QV_EXPORT const NSClass& asyncBlockOperationClass();
QV_EXPORT void requireAsyncBlock(bool isThere);
}  // namespace detail

/// An operation around an asynchronous block.
///
/// ```cpp
/// const auto job = std::make_shared<QVAsyncBlockOperation<Page>>([=] { return load(address); });
/// ```
///
/// Threads: as `QVAsyncOperation`, as are ownership and errors. The block lives as long as the operation; an
/// empty one raises `NSInvalidArgumentException`.
template <class T>
class QVAsyncBlockOperation final : public QVAsyncOperation, public QVAsyncOperationProtocol<T> {
public:
  const NSClass& dynamicClass() const override { return detail::asyncBlockOperationClass(); }

  explicit QVAsyncBlockOperation(std::function<Task<T>()> asyncBlock)
      : QVAsyncOperation("QVAsyncBlockOperation"), asyncBlock_(std::move(asyncBlock)) {
    detail::requireAsyncBlock(asyncBlock_ != nullptr);
  }
  /// There is nothing to run without a block.
  explicit QVAsyncBlockOperation(QVTimingName timingName) = delete;

  [[nodiscard]] const std::function<Task<T>()>& asyncBlock() const noexcept { return asyncBlock_; }
  Task<T> perform() override { return asyncBlock_(); }

private:
  const std::function<Task<T>()> asyncBlock_;
};

}  // namespace QVFoundation
