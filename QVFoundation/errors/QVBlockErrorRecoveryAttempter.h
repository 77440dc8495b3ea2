#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <utility>

#include "QVFoundation/errors/QVErrorRecovery.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation {

/// The recovery attempter that calls the handlers stored in the error itself, under
/// `QVRecoveryBlocksErrorKey`.
///
/// Threads: used by one thread at a time.
/// Ownership: an error owns its attempter, and the attempter owns the last recovery error. A handler that
/// returns an error which leads back to the one it recovers from closes a circle; `setRecoveryError({})`
/// opens it again.
class QV_EXPORT QVBlockErrorRecoveryAttempter : public NSObject, public QVErrorRecoveryAttempter {
public:
  static const NSClass& staticClass();
  [[nodiscard]] const NSClass& dynamicClass() const override { return staticClass(); }

  [[nodiscard]] static std::shared_ptr<QVBlockErrorRecoveryAttempter> attempter();

  /// What the last handler returned; nothing until a recovery ran.
  [[nodiscard]] const std::optional<NSError>& recoveryError() const noexcept { return recoveryError_; }
  void setRecoveryError(std::optional<NSError> error) { recoveryError_ = std::move(error); }

  /// Calls the handler at the index, keeps what it returns, and returns true, always. An index past the last
  /// handler is a programming error and raises `NSRangeException`; an error without handlers likewise. An empty
  /// handler raises `NSInvalidArgumentException`.
  bool attemptRecoveryFromError(const NSError& error, std::size_t optionIndex) override;
  void attemptRecoveryFromError(const NSError& error, std::size_t optionIndex,
                                const std::shared_ptr<NSObject>& delegate, const DidRecover& didRecover,
                                void* contextInfo) override;

private:
  std::optional<NSError> recoveryError_;
};

}  // namespace QVFoundation
