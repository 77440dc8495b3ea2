#include <algorithm>
#include <cerrno>
#include <chrono>
#include <optional>
#include <sys/file.h>
#include <thread>
#include <utility>

#include "QVFoundation/platform/application/UserDefaultsFile_p.h"
#include "QVFoundation/platform/files/AtomicFile_p.h"
#include "QVFoundation/platform/files/FileContents_p.h"
#include "QVFoundation/platform/files/FileErrors_p.h"
#include "QVFoundation/platform/files/FileLocation_p.h"
#include "QVFoundation/platform/files/FileOutput_p.h"
#include "QVFoundation/platform/files/NSFileManager.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/NSErrorKeys.h"
#include "QVFoundation/platform/serialization/PropertyList.h"
#include "QVFoundation/platform/text/Format.h"

namespace QVFoundation::detail {

namespace {

// Settings are nobody else's business, and neither is the folder (XDG Base Directory 0.8).
constexpr mode_t fileMode = 0600;
constexpr mode_t folderMode = 0700;

std::string folderOf(std::string_view path) { return std::string(path.substr(0, path.rfind('/'))); }

/// Has a folder's entries on the disk. One that cannot be synchronized is none the worse for it.
void synchronizeFolder(const std::string& path) {
  const Descriptor folder = FileLocation(path).open(O_RDONLY | O_DIRECTORY);
  if (folder.isOpen()) static_cast<void>(uninterrupted([&] { return systemCalls().sync(folder.number()); }));
}

/// Makes a folder, and those on the way to it. Returns 0, or an `errno`.
int makeFolders(const std::string& path) {
  if (path.empty() || FileLocation(path).makeFolder(folderMode) == 0) {
    if (!path.empty()) synchronizeFolder(folderOf(path) + '/');
    return 0;
  }
  if (errno == EEXIST) return 0;
  if (errno != ENOENT) return errno;
  if (const int code = makeFolders(folderOf(path)); code != 0) return code;
  if (FileLocation(path).makeFolder(folderMode) != 0 && errno != EEXIST) return errno;
  synchronizeFolder(folderOf(path) + '/');
  return 0;
}

int writeWhole(std::span<const std::byte> bytes, const std::string& path, AtomicFile::Existing existing) {
  AtomicFile file(path, existing);
  if (const int code = file.open(fileMode); code != 0) return code;
  std::size_t written = 0;
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (const int code = writeAll(file.descriptor(), OutputKind::file, text, written); code != 0) return code;
  return file.commit();
}

void replaceFile(std::span<const std::byte> bytes, const std::string& path) {
  const int code = writeWhole(bytes, path, AtomicFile::Existing::replace);
  if (code != 0) throw fileWriteError(path, "written", code);
}

bool isMissing(const NSError& error) {
  const auto reasons = error.underlyingErrors();
  return !reasons.empty() && reasons.front().domain() == NSPOSIXErrorDomain &&
         reasons.front().code() == ENOENT;
}

NSData bytesOf(const Value& settings) { return dataFromPropertyList(settings, PropertyListFormat::binary); }

/// Whether two settings are the same to whoever reads the file: 1 and true, which are equal, are not.
bool isSame(const Value& a, const Value& b) {
  if (a.isNothing() || b.isNothing()) return a.isNothing() && b.isNothing();
  return a == b && bytesOf(a) == bytesOf(b);
}

}  // namespace

/// What a file holds: nothing where there is none, and no values where it is damaged.
struct UserDefaultsFile::Content {
  NSData bytes;
  std::optional<Dictionary> values;
  std::string report;  // of what is damaged, or was
};

/// Keeps other processes from changing the settings for a scope.
class UserDefaultsFile::Lock {
public:
  explicit Lock(const std::string& path) {
    if (const int code = makeFolders(folderOf(path)); code != 0)
      throw fileWriteError(folderOf(path), "created", code);
    file_ = FileLocation(path).open(O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK, fileMode);
    if (!file_.isOpen()) throw fileWriteError(path, "opened", errno);
    if (const int code = wait(); code != 0) throw fileWriteError(path, "locked", code);
  }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;
  // Closing would leave it to a child that has been forked off meanwhile and has the file open, too.
  ~Lock() {
    static_cast<void>(uninterrupted([&] { return systemCalls().lock(file_.number(), LOCK_UN); }));
  }

  /// False on a file system without locks.
  [[nodiscard]] bool keepsOthersAway() const noexcept { return isHeld_; }

private:
  /// Others hold it for a moment; one that has been stopped meanwhile is not waited for. Returns 0, or
  /// an `errno`.
  [[nodiscard]] int wait() {
    using namespace std::chrono_literals;
    const auto patience = std::chrono::steady_clock::now() + 5s;
    for (auto pause = 1ms;; pause = std::min(pause * 2, 50ms)) {
      if (uninterrupted([&] { return systemCalls().lock(file_.number(), LOCK_EX | LOCK_NB); }) == 0) {
        isHeld_ = true;
        return 0;
      }
      if (errno == EOPNOTSUPP || errno == ENOLCK) return 0;  // a file system without locks
      if (errno != EWOULDBLOCK || std::chrono::steady_clock::now() > patience) return errno;
      std::this_thread::sleep_for(pause);
    }
  }

  Descriptor file_;
  bool isHeld_ = false;
};

UserDefaultsFile::UserDefaultsFile(std::string path) : path_(std::move(path)) {}

/// "folder/UserDefaults.backup.plist" for "backup".
std::string UserDefaultsFile::besides(std::string_view role) const {
  const std::size_t extension = path_.rfind('.');
  return path_.substr(0, extension + 1) + std::string(role) + path_.substr(extension);
}

UserDefaultsFile::Content UserDefaultsFile::contentOf(const std::string& path) {
  Content content;
  try {
    content.bytes = contentsOfFile(path);
  } catch (const NSError& error) {
    if (!isMissing(error)) throw;
    content.values.emplace();
    return content;
  }
  try {
    content.values = propertyListFromData(content.bytes).as<Dictionary>();
    if (!content.values) content.report = "it holds no dictionary";
  } catch (const NSError& error) {
    content.report = error.localizedDescription();
  }
  return content;
}

UserDefaultsFile::Settings UserDefaultsFile::read() const {
  Content found = contentOf(path_);
  if (found.values) return {*found.values, *found.values, {}};
  try {
    const Lock lock(path_ + ".lock");
    found = soundContent();
  } catch (const NSError& error) {
    // Where nothing may be written, what can be read counts nevertheless.
    found = contentOf(besides("backup"));
    if (!found.values || found.bytes.empty()) throw;
    found.report = error.localizedDescription();
  }
  return {*found.values, *found.values, std::move(found.report)};
}

UserDefaultsFile::Settings UserDefaultsFile::update(const Changes& changes) const {
  const Lock lock(path_ + ".lock");
  Content found = soundContent();
  Dictionary values = *found.values;
  bool changesAnything = false;
  for (const auto& [key, value] : changes) {
    changesAnything |= !isSame(values[key], value);
    values.set(key, value);
  }
  if (changesAnything) {
    const NSData bytes = bytesOf(values);
    if (lock.keepsOthersAway()) removeLeftovers();
    if (!found.bytes.empty()) replaceFile(found.bytes, besides("backup"));
    replaceFile(bytes, path_);
  }
  return {*std::move(found.values), std::move(values), std::move(found.report)};
}

// Another process may have mended it before the lock was there.
UserDefaultsFile::Content UserDefaultsFile::soundContent() const {
  Content found = contentOf(path_);
  return found.values ? found : mend(found);
}

UserDefaultsFile::Content UserDefaultsFile::mend(const Content& damaged) const {
  Content backup = contentOf(besides("backup"));
  const bool isSound = backup.values && !backup.bytes.empty();
  if (!isSound) backup = {.bytes = bytesOf(Dictionary()), .values = Dictionary(), .report = {}};
  const std::string aside = setAside(damaged.bytes);
  try {
    replaceFile(backup.bytes, path_);
  } catch (const NSError&) {
    static_cast<void>(FileLocation(aside).remove(0));
    throw;
  }
  backup.report = stringWithFormat(
      R"(The settings in "%@" are damaged: %@. They have been kept as "%@"; %@.)", path_, damaged.report,
      aside,
      isSound ? "those before the last change take their place" : "there are none to take their place");
  return backup;
}

/// Keeps the bytes under a name that is free, which it gives.
std::string UserDefaultsFile::setAside(std::span<const std::byte> bytes) const {
  constexpr int mostFiles = 100;
  std::string path = besides("damaged");
  int code = writeWhole(bytes, path, AtomicFile::Existing::refuse);
  for (int number = 2; code == EEXIST && number <= mostFiles; ++number) {
    path = besides("damaged-" + std::to_string(number));
    code = writeWhole(bytes, path, AtomicFile::Existing::refuse);
  }
  if (code != 0) throw fileWriteError(path, "written", code);
  return path;
}

/// What processes that were killed have left of new files, such as ".UserDefaults.plist.1234".
void UserDefaultsFile::removeLeftovers() const {
  const std::size_t slash = path_.rfind('/') + 1;
  const std::string start = '.' + path_.substr(slash, path_.rfind('.') + 1 - slash);
  const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  const auto names = NSFileManager::defaultManager()->contentsOfDirectoryAtPath(folderOf(path_));
  for (const std::string& name : names.value_or(std::vector<std::string>())) {
    if (name.starts_with(start) && std::ranges::all_of(name.substr(name.rfind('.') + 1), isDigit))
      static_cast<void>(FileLocation(folderOf(path_) + '/' + name).remove(0));
  }
}

}  // namespace QVFoundation::detail
