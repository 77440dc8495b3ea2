#pragma once

#include <memory>
#include <optional>
#include <string>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/application/NSNotification.h"
#include "QVFoundation/platform/application/NSNotificationCenter.h"
#include "QVFoundation/platform/application/Publisher.h"

namespace QVFoundation {

/// The notifications of a centre of that name and about that object, as `addObserverForName` tells them
/// apart. They never complete.
///
/// Threads: any. Notifications arrive on the posting thread, unless `receiveOn` says otherwise.
/// Ownership: the publisher keeps the centre and the object; a subscription keeps neither.
[[nodiscard]] QV_EXPORT Publisher<NSNotification> publisherForName(
    std::shared_ptr<NSNotificationCenter> center, std::optional<std::string> name,
    std::shared_ptr<NSObject> object = nullptr);

}  // namespace QVFoundation
