#pragma once

#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/application/Cancellable.h"
#include "QVFoundation/platform/concurrency/Mutex.h"

namespace QVFoundation {

/// Keeps subscriptions and cancels them all when it is emptied or destroyed.
///
/// Threads: any, also from inside a value of a subscription that it holds. No lock is held while it cancels.
class QV_EXPORT CancellableBag {
public:
  CancellableBag() = default;
  CancellableBag(const CancellableBag&) = delete;
  CancellableBag& operator=(const CancellableBag&) = delete;
  ~CancellableBag();

  void add(Cancellable cancellable);
  /// Cancels in the order in which they were added. What is added meanwhile stays.
  void removeAll();

private:
  Mutex lock_;
  std::vector<Cancellable> content_ QV_GUARDED_BY(lock_);
};

}  // namespace QVFoundation
