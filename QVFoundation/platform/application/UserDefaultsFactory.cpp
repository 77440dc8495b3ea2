#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "QVFoundation/platform/application/UserDefaultsFactory_p.h"
#include "QVFoundation/platform/concurrency/Mutex.h"
#include "QVFoundation/platform/files/BaseDirectories_p.h"
#include "QVFoundation/platform/tracing/NSLog.h"

namespace QVFoundation::detail {

/// All settings of this process, by their identifiers.
class UserDefaultsFactory::InUse {
public:
  static InUse& instance() {
    static InUse& inUse = *new InUse;  // never destroyed: an exit handler needs it
    return inUse;
  }

  std::shared_ptr<NSUserDefaults> find(std::string_view identifier) {
    const MutexLock guard(lock_);
    const auto found = defaults_.find(identifier);
    return found != defaults_.end() ? found->second.lock() : nullptr;
  }

  /// Gives those that another thread has added before, where one has.
  std::shared_ptr<NSUserDefaults> add(std::string_view identifier, std::shared_ptr<NSUserDefaults> defaults) {
    const MutexLock guard(lock_);
    std::weak_ptr<NSUserDefaults>& place = defaults_[std::string(identifier)];
    if (auto other = place.lock()) return other;
    place = defaults;
    return defaults;
  }

private:
  InUse() {
    std::atexit([] { instance().saveAll(); });
  }

  void saveAll() {
    for (const auto& defaults : all()) {
      std::optional<NSError> error;
      if (!defaults->save(&error)) NSLog("%@", error->localizedDescription());
    }
  }
  std::vector<std::shared_ptr<NSUserDefaults>> all() {
    const MutexLock guard(lock_);
    std::vector<std::shared_ptr<NSUserDefaults>> all;
    for (const auto& [identifier, place] : defaults_) {
      if (auto defaults = place.lock()) all.push_back(std::move(defaults));
    }
    return all;
  }

  Mutex lock_;
  std::map<std::string, std::weak_ptr<NSUserDefaults>, std::less<>> defaults_ QV_GUARDED_BY(lock_);
};

// They are read without a lock, since what is wrong with the file is told to log sinks, which may have
// settings themselves.
std::shared_ptr<NSUserDefaults> UserDefaultsFactory::defaultsOf(std::string_view identifier) {
  if (auto found = InUse::instance().find(identifier)) return found;
  const std::string folder = configHome() + '/' + std::string(identifier);
  return InUse::instance().add(identifier, defaultsInFile(folder + "/UserDefaults.plist"));
}

std::shared_ptr<NSUserDefaults> UserDefaultsFactory::defaultsInFile(const std::filesystem::path& path) {
  return std::shared_ptr<NSUserDefaults>(new NSUserDefaults(path.string()));
}

}  // namespace QVFoundation::detail
