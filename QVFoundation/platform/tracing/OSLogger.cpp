#include "QVFoundation/platform/tracing/OSLogger.h"

#include <cerrno>
#include <chrono>
#include <functional>
#include <map>
#include <unistd.h>

#include "QVFoundation/platform/concurrency/Mutex.h"
#include "QVFoundation/platform/tracing/ErrnoKeeper_p.h"
#include "QVFoundation/platform/tracing/OSLogDelivery_p.h"

namespace QVFoundation {

namespace {

/// All channels of the process. It is never destroyed, since destructors of other static objects may log.
class ChannelRegistry {
public:
  static ChannelRegistry& shared() {
    static ChannelRegistry& registry = *new ChannelRegistry;
    return registry;
  }

  detail::OSLogChannel& channel(std::string_view subsystem, std::string_view category) QV_EXCLUDES(mutex_) {
    const MutexLock lock(mutex_);
    return channelLocked(subsystem, category);
  }

  void setMinimumType(std::string_view subsystem, std::string_view category, OSLogType type)
      QV_EXCLUDES(mutex_) {
    const MutexLock lock(mutex_);
    if (!category.empty()) {
      channelLocked(subsystem, category).minimumType.store(type, std::memory_order_relaxed);
      return;
    }
    Subsystem& all = subsystemLocked(subsystem);
    all.minimumType = type;
    for (auto& [name, channel] : all.channels) channel.minimumType.store(type, std::memory_order_relaxed);
  }

private:
  struct Subsystem {
    OSLogType minimumType = OSLogType::info;                            // for channels that are made later
    std::map<std::string, detail::OSLogChannel, std::less<>> channels;  // whose addresses stay
  };

  Subsystem& subsystemLocked(std::string_view name) QV_REQUIRES(mutex_) {
    const auto found = subsystems_.find(name);
    return found != subsystems_.end() ? found->second : subsystems_[std::string(name)];
  }

  detail::OSLogChannel& channelLocked(std::string_view subsystem, std::string_view category)
      QV_REQUIRES(mutex_) {
    auto& [minimumType, channels] = subsystemLocked(subsystem);
    const auto found = channels.find(category);
    if (found != channels.end()) return found->second;
    return channels.try_emplace(std::string(category), subsystem, category, minimumType).first->second;
  }

  Mutex mutex_;
  std::map<std::string, Subsystem, std::less<>> subsystems_ QV_GUARDED_BY(mutex_);
};

}  // namespace

OSLogger::OSLogger(std::string_view subsystem, std::string_view category)
    : channel_(&ChannelRegistry::shared().channel(subsystem, category)) {}

OSLogger OSLogger::disabled() noexcept {
  constexpr auto moreThanAny = static_cast<OSLogType>(static_cast<int>(OSLogType::fault) + 1);
  static const auto& channel = *new detail::OSLogChannel("", "", moreThanAny);
  return OSLogger(channel);
}

void OSLogger::log(OSLogType type, std::string_view message) const noexcept {
  if (!isEnabled(type)) return;
  const detail::ErrnoKeeper errnoKeeper;
  detail::deliver({
      .type = type,
      .subsystem = subsystem(),
      .category = category(),
      .message = message,
      .identifier = program_invocation_short_name,
      .time = std::chrono::system_clock::now(),
      .thread = gettid(),
  });
}

void setOSLogMinimumType(std::string_view subsystem, std::string_view category, OSLogType type) {
  ChannelRegistry::shared().setMinimumType(subsystem, category, type);
}

}  // namespace QVFoundation
