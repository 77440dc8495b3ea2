#include "QVFoundation/platform/application/NSUserDefaults.h"

#include <atomic>
#include <chrono>
#include <list>
#include <unistd.h>
#include <utility>

#include "QVFoundation/platform/application/NSBundle.h"
#include "QVFoundation/platform/application/NSNotificationCenter.h"
#include "QVFoundation/platform/application/UserDefaultsDomains_p.h"
#include "QVFoundation/platform/application/UserDefaultsFactory_p.h"
#include "QVFoundation/platform/application/UserDefaultsFile_p.h"
#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/concurrency/Mutex.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"
#include "QVFoundation/platform/runtime/ChangeNotice.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/serialization/PropertyList.h"
#include "QVFoundation/platform/tracing/NSLog.h"

namespace QVFoundation {

using detail::UserDefaultsDomains;
using detail::UserDefaultsFactory;
using detail::UserDefaultsFile;
using Clock = std::chrono::steady_clock;

struct NSUserDefaults::State {
  /// What the file held before this process changed it the last time, and afterwards.
  struct LastSave {
    Dictionary before, after;
  };

  explicit State(std::string path) : file(std::move(path)) {}

  [[nodiscard]] bool isSaved() {
    const UnfairLockGuard guard(lock);
    return domains.isSaved();
  }
  /// Saves what is unsaved, or else reads what others have saved. Gives the number of the exchange.
  std::uint64_t exchange(UserDefaultsFile::Settings& found) QV_REQUIRES(exchanging);

  const UserDefaultsFile file;
  const pid_t process = getpid();
  Mutex exchanging;  // with the file; taken before `lock`, and never held while others are told

  UnfairLock lock;
  UserDefaultsDomains domains QV_GUARDED_BY(lock);
  std::optional<LastSave> lastSave QV_GUARDED_BY(exchanging);
  std::uint64_t exchanges QV_GUARDED_BY(lock) = 0;
  bool isGoingToSave QV_GUARDED_BY(lock) = false;
  Clock::time_point nextSave QV_GUARDED_BY(lock);
  std::string reported QV_GUARDED_BY(lock);  // why it could not be saved the last time
};

namespace {

constexpr auto betweenSaves = std::chrono::seconds(1);

/// The settings as a file has them. Raises where no property list can hold them.
NSData storable(const Dictionary& settings) {
  try {
    return dataFromPropertyList(settings, PropertyListFormat::binary);
  } catch (const NSError& error) {
    throw NSException(NSInvalidArgumentException, "This is no setting: " + error.localizedDescription());
  }
}

/// A setting as it is read back. Otherwise a date, which loses what is below a microsecond, would change by
/// itself when it is saved.
Value asReadBack(Value value, std::string_view key) {
  const NSData data = storable({{key, value}});
  switch (value.kind()) {
    case ValueKind::date:
    case ValueKind::array:
    case ValueKind::dictionary: return propertyListFromData(data).dictionary()[key];
    default: return value;
  }
}

UserDefaultsFile::Changes changesBetween(const Dictionary& before, const Dictionary& after) {
  UserDefaultsFile::Changes changes;
  for (const auto& [key, value] : before) changes.emplace(*key.text(), after[key]);
  for (const auto& [key, value] : after) changes.insert_or_assign(*key.text(), value);
  return changes;
}

bool canBeNameOfFolder(std::string_view name) {
  constexpr std::size_t longest = 255;  // bytes (NAME_MAX, path_resolution(7))
  return !name.empty() && name.size() <= longest && name != "." && name != ".." &&
         name.find_first_of(std::string_view("/\0", 2)) == std::string_view::npos;
}

std::string identifierOfProgram() {
  const auto& bundle = NSBundle::mainBundle();
  const auto identifier = bundle->bundleIdentifier();
  return identifier && canBeNameOfFolder(*identifier) ? *identifier : bundle->name();
}

}  // namespace

const std::shared_ptr<NSUserDefaults>& NSUserDefaults::standardUserDefaults() {
  // Never destroyed, since settings are saved at the end.
  using Holder = const std::shared_ptr<NSUserDefaults>;
  static std::atomic<Holder*> standard = nullptr;
  if (Holder* const holder = standard.load(std::memory_order_acquire)) return *holder;
  Holder* first = nullptr;
  auto* const holder = new Holder(UserDefaultsFactory::defaultsOf(identifierOfProgram()));
  if (standard.compare_exchange_strong(first, holder)) return *holder;
  delete holder;
  return *first;
}

std::shared_ptr<NSUserDefaults> NSUserDefaults::defaultsWithSuiteName(std::string_view identifier) {
  if (canBeNameOfFolder(identifier)) return UserDefaultsFactory::defaultsOf(identifier);
  throw NSException(NSInvalidArgumentException,
                    "\"" + std::string(identifier) + "\" cannot be the name of settings");
}

const NSClass& NSUserDefaults::staticClass() {
  static const NSClass& cls =
      *new NSClass(NSClass::define<NSUserDefaults>("NSUserDefaults", NSObject::staticClass()));
  return cls;
}

NSUserDefaults::NSUserDefaults(std::string path) : state_(std::make_unique<State>(std::move(path))) {
  std::string report;
  try {
    auto found = state_->file.read();
    report = std::move(found.report);
    const UnfairLockGuard guard(state_->lock);
    state_->domains.setStored(std::move(found.values));
  } catch (const NSError& error) {
    report = error.localizedDescription();
  }
  if (!report.empty()) NSLog("%@", report);
}

// Only what could not be saved before is left to be saved here.
NSUserDefaults::~NSUserDefaults() {
  std::optional<NSError> error;
  if (!save(&error)) NSLog("%@", error->localizedDescription());
}

Value NSUserDefaults::objectForKey(std::string_view key) const {
  const UnfairLockGuard guard(state_->lock);
  return state_->domains[key];
}

// Takes no copy of what is no number.
std::optional<NSNumber> NSUserDefaults::numberForKey(std::string_view key) const {
  const UnfairLockGuard guard(state_->lock);
  return state_->domains[key].as<NSNumber>();
}

Dictionary NSUserDefaults::dictionaryRepresentation() const {
  const UnfairLockGuard guard(state_->lock);
  return state_->domains.all();
}

void NSUserDefaults::setObject(Value value, std::string_view key) {
  value = asReadBack(std::move(value), key);
  {
    const ChangeNotice notice(*this, key);
    const UnfairLockGuard guard(state_->lock);
    state_->domains.choose(std::move(value), key);
  }
  saveSoon();
  postChange();
}

void NSUserDefaults::registerDefaults(const Dictionary& defaults) {
  static_cast<void>(storable(defaults));
  {
    std::list<ChangeNotice> notices;
    for (const auto& [key, value] : defaults) notices.emplace_back(*this, *key.text());
    const UnfairLockGuard guard(state_->lock);
    state_->domains.registerDefaults(defaults);
  }
  postChange();
}

Value NSUserDefaults::valueForUndefinedKey(std::string_view key) const { return objectForKey(key); }

void NSUserDefaults::setValueForUndefinedKey(const Value& value, std::string_view key) {
  setObject(value, key);
}

void NSUserDefaults::postChange() {
  NSNotificationCenter::defaultCenter()->postNotificationName(
      std::string(NSUserDefaultsDidChangeNotification), shared_from_this());
}

bool NSUserDefaults::synchronize(std::optional<NSError>* error) {
  try {
    exchangeWithFile();
    return true;
  } catch (const NSError& problem) {
    if (error != nullptr) *error = problem;
    return false;
  }
}

std::uint64_t NSUserDefaults::State::exchange(UserDefaultsFile::Settings& found) {
  UserDefaultsDomains::Unsaved unsaved;
  {
    const UnfairLockGuard guard(lock);
    unsaved = domains.unsaved();
  }
  found = unsaved.changes.empty() ? file.read() : file.update(unsaved.changes);
  // It was damaged, and came back as it was before the last change. If that was this process's, it is known here.
  if (!found.report.empty() && lastSave && found.before == lastSave->before) {
    std::string report = std::move(found.report);
    UserDefaultsFile::Changes again = changesBetween(lastSave->before, lastSave->after);
    for (const auto& [key, value] : unsaved.changes) again.insert_or_assign(key, value);
    found = file.update(again);
    found.report = std::move(report);
  }
  if (!(found.before == found.values)) lastSave = {found.before, found.values};
  const UnfairLockGuard guard(lock);
  domains.markSaved(unsaved);
  reported.clear();
  return ++exchanges;
}

// What other processes have changed becomes known between notices, so after both locks have been let go. An
// exchange that has been overtaken leaves that to the later one.
void NSUserDefaults::exchangeWithFile() {
  UserDefaultsFile::Settings found;
  std::uint64_t number = 0;
  {
    const MutexLock guard(state_->exchanging);
    number = state_->exchange(found);
  }
  if (!found.report.empty()) NSLog("%@", found.report);
  std::vector<std::string> keys;
  {
    const UnfairLockGuard guard(state_->lock);
    keys = state_->domains.keysThatDiffer(found.values);
  }
  if (keys.empty()) return;
  {
    std::list<ChangeNotice> notices;
    for (const std::string& key : keys) notices.emplace_back(*this, key);
    const UnfairLockGuard guard(state_->lock);
    if (number == state_->exchanges) state_->domains.setStored(std::move(found.values));
  }
  postChange();
}

/// Whether all is on the disk. A forked child leaves that to its parent: it knows only what the settings once
/// were, and locks that the parent's other threads held are held in it for good.
bool NSUserDefaults::save(std::optional<NSError>* error) {
  if (state_->process != getpid()) return true;
  try {
    UserDefaultsFile::Settings found;
    {
      const MutexLock exchanging(state_->exchanging);
      if (!state_->isSaved()) static_cast<void>(state_->exchange(found));
    }
    if (!found.report.empty()) NSLog("%@", found.report);
    return true;
  } catch (const NSError& problem) {
    *error = problem;
    return false;
  }
}

void NSUserDefaults::saveSoon() {
  Clock::duration delay{};
  {
    const UnfairLockGuard guard(state_->lock);
    if (std::exchange(state_->isGoingToSave, true)) return;
    const auto now = Clock::now();
    state_->nextSave = std::max(state_->nextSave, now);
    delay = state_->nextSave - now;
    state_->nextSave += betweenSaves;
  }
  DispatchQueue::global(QualityOfService::utility)
      ->after(delay, [self = std::static_pointer_cast<NSUserDefaults>(shared_from_this())] {
        self->saveInBackground();
      });
}

void NSUserDefaults::saveInBackground() {
  {
    const UnfairLockGuard guard(state_->lock);
    state_->isGoingToSave = false;
  }
  std::optional<NSError> error;
  if (synchronize(&error)) return;
  {
    const UnfairLockGuard guard(state_->lock);
    if (std::exchange(state_->reported, error->localizedDescription()) == error->localizedDescription())
      return;
  }
  NSLog("%@", error->localizedDescription());
}

}  // namespace QVFoundation
