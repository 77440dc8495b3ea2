#include "QVFoundation/platform/application/CancellableBag.h"

#include <utility>

namespace QVFoundation {

CancellableBag::~CancellableBag() { removeAll(); }

void CancellableBag::add(Cancellable cancellable) {
  const MutexLock guard(lock_);
  content_.push_back(std::move(cancellable));
}

void CancellableBag::removeAll() {
  std::vector<Cancellable> taken;
  {
    const MutexLock guard(lock_);
    taken.swap(content_);
  }
  for (Cancellable& cancellable : taken) cancellable.cancel();
}

}  // namespace QVFoundation
