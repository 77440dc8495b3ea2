#pragma once

#include <functional>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation {

class CancellableBag;

/// A subscription for as long as somebody holds it: letting go of it cancels.
///
/// ```cpp
/// Cancellable titles = publisher.map(&Track::title).sink([](const std::string& title) { show(title); });
/// ```
///
/// Threads: one handle belongs to one thread at a time. `cancel` may be called on another thread than the
/// one on which values arrive, and from inside a value.
/// Errors: what cancels must not throw.
class QV_EXPORT Cancellable {
public:
  /// Has nothing to cancel.
  Cancellable() noexcept = default;
  /// For publishers of one's own: what ends the subscription. It is called once at the most.
  explicit Cancellable(std::function<void()> cancel) noexcept;
  Cancellable(Cancellable&& other) noexcept;
  /// Cancels what it held before.
  Cancellable& operator=(Cancellable&& other) noexcept;
  ~Cancellable();

  /// Ends the subscription, the first time. Of what a publisher returned: once this returns, neither values
  /// nor the completion arrive, and no other thread is still busy with one; if need be, this waits. From
  /// inside a value, a completion or the block of an observer it never waits.
  void cancel();

  /// Puts it into a bag that cancels it together with others.
  void store(CancellableBag& bag) &&;

private:
  std::function<void()> cancel_;
};

}  // namespace QVFoundation
