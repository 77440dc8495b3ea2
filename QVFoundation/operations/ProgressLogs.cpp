#include <atomic>
#include <mutex>
#include <optional>

#include "QVFoundation/operations/QVProgressUtilities.h"

namespace QVFoundation {

namespace {

#if defined(QV_PROGRESS_LOGGING) || defined(QV_TEST_SEAMS)
constexpr bool hasProgressLogs = true;
#else
constexpr bool hasProgressLogs = false;
#endif

std::atomic<bool> isEnabled{false};

const OSLogger& disabledLog() {
  static const OSLogger& log = *new OSLogger(OSLogger::disabled());
  return log;
}

/// A log that is chosen when it is first asked for, and anew once it has been dropped.
class CachedLog {
public:
  constexpr explicit CachedLog(std::string_view category) noexcept : category_(category) {}

  const OSLogger& get() {
    const OSLogger* log = log_.load(std::memory_order_acquire);
    if (log != nullptr) return *log;
    for (bool wasEnabled = isEnabled;; wasEnabled = isEnabled) {
      log = &disabledLog();
      if (hasProgressLogs && wasEnabled) {
        std::call_once(isMade_, [this] { made_.emplace(createProgressLogWithCategory(category_)); });
        log = &*made_;
      }
      log_.store(log);
      if (isEnabled == wasEnabled) return *log;
    }
  }
  void drop() noexcept { log_.store(nullptr, std::memory_order_release); }

private:
  const std::string_view category_;
  std::atomic<const OSLogger*> log_{nullptr};
  std::once_flag isMade_;
  std::optional<OSLogger> made_;
};

constinit CachedLog logOfProgress("progress");
constinit CachedLog logOfChildren("children");
constinit CachedLog logOfMirrors("mirror");

}  // namespace

bool progressLoggingEnabled() noexcept { return isEnabled; }

void setProgressLoggingEnabled(bool enabled) noexcept {
  isEnabled = enabled;
  logOfProgress.drop();
  logOfMirrors.drop();
}

OSLogger createProgressLogWithCategory(std::string_view category) {
  return hasProgressLogs ? OSLogger("org.qvfoundation", category) : OSLogger::disabled();
}

const OSLogger& progressLog() { return logOfProgress.get(); }
const OSLogger& childLog() { return logOfChildren.get(); }
const OSLogger& mirrorLog() { return logOfMirrors.get(); }

}  // namespace QVFoundation
