#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <new>
#include <spawn.h>
#include <string_view>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

#include "QVFoundation/platform/files/Descriptor_p.h"
#include "QVFoundation/platform/processes/DescriptorWatch_p.h"
#include "QVFoundation/platform/processes/ProcessCalls_p.h"
#include "QVFoundation/platform/processes/TaskLaunch_p.h"

namespace QVFoundation::detail {

namespace {

void throwIfFailed(const TaskSettings& settings, int code) {
  if (code != 0) throw launchError(settings, code, std::generic_category().message(code));
}

// Texts

void refuseZeroIn(const TaskSettings& settings, const std::string& text, const std::string& what) {
  if (text.find('\0') == std::string::npos) return;
  throw launchError(settings, EINVAL, what + " contains a zero byte");
}

void refuseUnfitTexts(const TaskSettings& settings) {
  refuseZeroIn(settings, *settings.launchPath, "its path");
  std::size_t number = 0;
  for (const std::string& argument : settings.arguments) {
    refuseZeroIn(settings, argument, "argument " + std::to_string(++number));
  }
  if (settings.currentDirectoryPath) {
    refuseZeroIn(settings, *settings.currentDirectoryPath, "the path of its working folder");
  }
  if (!settings.environment) return;
  for (const auto& [name, value] : *settings.environment) {
    refuseZeroIn(settings, name + value, "the environment variable \"" + name + '"');
    if (name.empty() || name.find('=') != std::string::npos) {
      throw launchError(settings, EINVAL, "\"" + name + "\" is no name of an environment variable");
    }
  }
}

/// Texts as the system takes them: pointers to them, and a null at the end.
class TextList {
public:
  void add(std::string text) { texts_.push_back(std::move(text)); }
  [[nodiscard]] char* const* pointers() {
    pointers_.clear();
    for (std::string& text : texts_) pointers_.push_back(text.data());
    pointers_.push_back(nullptr);
    return pointers_.data();
  }

private:
  std::vector<std::string> texts_;
  std::vector<char*> pointers_;
};

TextList argumentsOf(const TaskSettings& settings) {
  TextList list;
  list.add(*settings.launchPath);
  for (const std::string& argument : settings.arguments) list.add(argument);
  return list;
}

TextList environmentOf(const TaskSettings& settings) {
  TextList list;
  if (!settings.environment) return list;
  for (const auto& [name, value] : *settings.environment) {
    std::string variable = name;
    list.add(std::move(variable.append("=").append(value)));
  }
  return list;
}

/// The child looks for it from its own working folder.
std::string programOf(const TaskSettings& settings) {
  const std::string& path = *settings.launchPath;
  if (!settings.currentDirectoryPath || path.starts_with('/') || path.empty()) return path;
  std::error_code code;
  const auto folder = std::filesystem::current_path(code);
  throwIfFailed(settings, code.value());
  return (folder / path).native();
}

// What the child does before the program begins

class SpawnActions {
public:
  explicit SpawnActions(const TaskSettings& settings) : settings_(settings) {
    posix_spawn_file_actions_init(&actions_);
    try {
      addStreams();
      if (const auto& folder = settings.currentDirectoryPath) {
        throwIfFailed(settings, posix_spawn_file_actions_addchdir_np(&actions_, folder->c_str()));
      }
      throwIfFailed(settings, posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1));
    } catch (...) {
      posix_spawn_file_actions_destroy(&actions_);
      throw;
    }
  }
  SpawnActions(const SpawnActions&) = delete;
  SpawnActions& operator=(const SpawnActions&) = delete;
  ~SpawnActions() { posix_spawn_file_actions_destroy(&actions_); }

  [[nodiscard]] const posix_spawn_file_actions_t* get() const { return &actions_; }

private:
  void addStreams() {
    constexpr std::array names{"input", "output", "error"};
    int target = STDIN_FILENO;
    for (const NSTaskStream* const stream : settings_.streams()) {
      const auto index = static_cast<std::size_t>(target);
      if (!stream->isInherited()) add(descriptorOf(*stream, target), target, names.at(index));
      ++target;
    }
  }

  static int descriptorOf(const NSTaskStream& stream, int target) {
    if (stream.fileHandle() != nullptr) return stream.fileHandle()->fileDescriptor();
    const NSPipe& pipe = *stream.pipe();
    const auto& end = target == STDIN_FILENO ? pipe.fileHandleForReading() : pipe.fileHandleForWriting();
    return end->fileDescriptor();
  }

  // One of the first three would be overwritten before it is used, where streams change places; and made its
  // own duplicate it would stay closed on execution.
  void add(int source, int target, const std::string& name) {
    if (source >= 0 && source <= STDERR_FILENO) {
      duplicates_.at(static_cast<std::size_t>(target)) =
          Descriptor(processCalls().duplicate(source, STDERR_FILENO + 1));
      source = duplicates_.at(static_cast<std::size_t>(target)).number();
      if (source < 0 && errno != EBADF) throwIfFailed(settings_, errno);
    }
    if (source < 0) throw launchError(settings_, EBADF, "its standard " + name + " is closed");
    if (::fcntl(source, F_GETFD) < 0) {
      throw launchError(
          settings_, EBADF,
          "its standard " + name + " is to be descriptor " + std::to_string(source) + ", which is not open");
    }
    throwIfFailed(settings_, posix_spawn_file_actions_adddup2(&actions_, source, target));
  }

  const TaskSettings& settings_;
  std::array<Descriptor, 3> duplicates_;
  posix_spawn_file_actions_t actions_{};
};

class SpawnAttributes {
public:
  explicit SpawnAttributes(bool startsProcessGroup) {
    posix_spawnattr_init(&attributes_);
    sigset_t signals;
    std::memset(&signals, 0xff,
                sizeof signals);  // sigfillset leaves out those of the C library, which would stay ignored
    posix_spawnattr_setsigdefault(&attributes_, &signals);
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes_, &signals);
    const int group = startsProcessGroup ? POSIX_SPAWN_SETPGROUP : 0;  // its own, unless it is told which
    posix_spawnattr_setflags(&attributes_,
                             static_cast<short>(POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | group));
  }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;
  ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }

  [[nodiscard]] const posix_spawnattr_t* get() const { return &attributes_; }

private:
  posix_spawnattr_t attributes_{};
};

// Beginning

/// Shows that the system gives descriptors of processes, and is there to be duplicated.
const Descriptor& anyProcess(const TaskSettings& settings) {
  static const Descriptor& ours = [&]() -> const Descriptor& {
    Descriptor process(processCalls().openProcess(getpid()));
    if (!process.isOpen()) throwIfFailed(settings, errno);
    return *new Descriptor(std::move(process));
  }();
  return ours;
}

/// What mostly fails once the child runs is tried before: a number for its descriptor, and the thread that
/// watches it.
void prepareForChild(const TaskSettings& settings) {
  try {
    DescriptorWatch::shared().prepare();
  } catch (const std::system_error& error) {
    throwIfFailed(settings, error.code().value());
  }
  const Descriptor room(processCalls().duplicate(anyProcess(settings).number(), 0));
  if (!room.isOpen()) throwIfFailed(settings, errno);
}

pid_t spawn(const TaskSettings& settings) {
  const std::string program = programOf(settings);
  TextList arguments = argumentsOf(settings);
  TextList environment = environmentOf(settings);
  const SpawnActions actions(settings);
  const SpawnAttributes attributes(settings.startsProcessGroup);
  pid_t child = 0;
  const int code =
      processCalls().spawn(&child, program.c_str(), actions.get(), attributes.get(), arguments.pointers(),
                           settings.environment ? environment.pointers() : environ);
  if (code != 0) throw launchError(settings, code);
  return child;
}

/// Nobody may forget a child for which there is no descriptor.
[[noreturn]] void endAndFail(const TaskSettings& settings, pid_t child, int code) {
  (void)::kill(child, SIGKILL);
  siginfo_t status{};
  (void)uninterrupted([&] { return processCalls().wait(P_PID, static_cast<id_t>(child), &status, WEXITED); });
  throw launchError(settings, code, std::generic_category().message(code));
}

}  // namespace

std::shared_ptr<ChildProcess> launchChild(const TaskSettings& settings) {
  refuseUnfitTexts(settings);
  prepareForChild(settings);
  const pid_t identifier = spawn(settings);
  Descriptor process(processCalls().openProcess(identifier));
  // ESRCH: it has ended, and the application has it reaped by itself.
  if (!process.isOpen() && errno != ESRCH) endAndFail(settings, identifier, errno);
  using Group = ChildProcess::Group;
  const Group group = !settings.startsProcessGroup ? Group::others
                      : settings.launcherWaits     ? Group::kept
                                                   : Group::own;
  std::shared_ptr<ChildProcess> child;
  try {
    child = std::make_shared<ChildProcess>(identifier, std::move(process), group);
  } catch (const std::bad_alloc&) {
    endAndFail(settings, identifier, ENOMEM);
  }
  if (settings.launcherWaits) {
    child->beginWaiting();
    return child;
  }
  try {
    child->beginWatching();
  } catch (const std::system_error& error) {
    throwIfFailed(settings, error.code().value());
  }
  return child;
}

}  // namespace QVFoundation::detail
