#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/application/NSNotification.h"
#include "QVFoundation/platform/concurrency/Scheduler.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation {

namespace detail {
class NotificationRegistry;
}

/// Tells whoever asked that something happened, without the two knowing each other.
///
/// ```cpp
/// const auto& center = NSNotificationCenter::defaultCenter();
/// const auto token = center->addObserverForName(
///     "TrackEnded", player, nullptr, [&](const NSNotification& end) { log(end.userInfo()["position"]); });
/// center->postNotificationName("TrackEnded", player, {{"position", 3}});
/// center->removeObserver(token);
/// ```
///
/// Threads: any, also from inside a block. Blocks run on the posting thread, or where their scheduler says;
/// a block may run on several threads at once if notifications are posted there. No lock is held meanwhile.
/// Ownership: the centre keeps a block until it is removed or the centre itself goes. It does not keep the
/// observed object: of one that is gone nothing comes any more, whatever is created at its address.
/// Errors: an exception that leaves a block ends the process with a message that names the notification.
class QV_EXPORT NSNotificationCenter : public NSObject {
public:
  using Block = std::function<void(const NSNotification&)>;

  /// The one that an application shares; it is never destroyed.
  static const std::shared_ptr<NSNotificationCenter>& defaultCenter();

  NSNotificationCenter();
  /// Removes all observers as `removeObserver` does.
  ~NSNotificationCenter() override;

  /// From now on calls a block for each notification of that name and about that object. Without a name it
  /// gets those of any name, with a null object those about any object or none. Objects are told apart
  /// by identity.
  ///
  /// Where there is a scheduler, it runs the block. Otherwise the block has run when posting returns.
  ///
  /// Returns what `removeObserver` takes. Letting go of it does not remove the block. An empty block raises
  /// `NSInvalidArgumentException`.
  [[nodiscard]] std::shared_ptr<NSObject> addObserverForName(std::optional<std::string> name,
                                                             const std::shared_ptr<NSObject>& object,
                                                             std::shared_ptr<Scheduler> scheduler,
                                                             Block block);
  // Any name is `std::nullopt`.
  std::shared_ptr<NSObject> addObserverForName(std::nullptr_t, const std::shared_ptr<NSObject>&,
                                               std::shared_ptr<Scheduler>, Block) = delete;

  /// Once this returns, the block runs on no other thread and is not called any more, also where its
  /// scheduler still has work for it; if need be, this waits. From inside any block it never waits, so that
  /// two that remove each other cannot lock up. What the block has captured is let go with the last delivery
  /// that had begun before.
  ///
  /// Does nothing with what is no token of this centre, or one that is removed already.
  void removeObserver(const std::shared_ptr<NSObject>& token);

  /// Calls the observers in the order in which they were added. One that is added meanwhile is left out, and
  /// so is one that is removed before its turn.
  void postNotification(NSNotification notification);
  void postNotificationName(std::string name, std::shared_ptr<NSObject> object = nullptr,
                            Dictionary userInfo = {});

private:
  const std::shared_ptr<detail::NotificationRegistry> registry_;
};

}  // namespace QVFoundation
