#pragma once

#include <memory>
#include <string>

#include "QVFoundation/observation/QVObservationManager.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/application/NSProgress.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation {

/// The description of a progress as a plain text to bind a label to: it is never absent, and can be set where
/// there is no progress.
///
/// Observable: "localizedDescription".
///
/// Threads: any. Observers are told on the thread that changes the progress.
/// Ownership: held by `std::shared_ptr`; keeps its progress.
class QV_EXPORT QVProgress : public NSObject {
public:
  static const NSClass& staticClass();
  const NSClass& dynamicClass() const override { return staticClass(); }

  /// A text that nothing changes but its setter.
  explicit QVProgress(std::string localizedDescription);
  /// Follows a progress; empty until its description first changes. Raises `NSInvalidArgumentException` where
  /// there is none.
  [[nodiscard]] static std::shared_ptr<QVProgress> following(std::shared_ptr<NSProgress> progress);
  ~QVProgress() override;

  [[nodiscard]] std::string localizedDescription() const;
  void setLocalizedDescription(std::string localizedDescription);

private:
  std::shared_ptr<NSProgress> progress_;
  const std::shared_ptr<QVObservationManager> observationManager_;
  mutable UnfairLock lock_;
  std::string localizedDescription_ QV_GUARDED_BY(lock_);
};

}  // namespace QVFoundation
