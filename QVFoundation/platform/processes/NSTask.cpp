#include "QVFoundation/platform/processes/NSTask.h"

#include <csignal>
#include <utility>

#include "QVFoundation/platform/concurrency/Continuation.h"
#include "QVFoundation/platform/processes/ChildProcess_p.h"
#include "QVFoundation/platform/processes/TaskLaunch_p.h"
#include "QVFoundation/platform/processes/TaskSettings_p.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {

namespace {

[[noreturn]] void refuse(const NSTask& task, const std::string& why) {
  throw NSException(NSInvalidArgumentException, task.shortDescription() + ' ' + why);
}

/// Closes what the child has now, or will never have.
void closeChildEnds(const detail::TaskSettings& settings) {
  if (const auto& pipe = settings.input.pipe()) pipe->fileHandleForReading()->closeFile();
  if (const auto& pipe = settings.output.pipe()) pipe->fileHandleForWriting()->closeFile();
  if (const auto& pipe = settings.error.pipe()) pipe->fileHandleForWriting()->closeFile();
}

}  // namespace

NSTask::NSTask() : settings_(std::make_unique<detail::TaskSettings>()) {}

NSTask::~NSTask() = default;

// What to run

template <class Setting, class Given>
void NSTask::set(Setting detail::TaskSettings::* setting, Given value) {
  {
    const UnfairLockGuard guard(lock_);
    if (!isLaunching_ && child_ == nullptr) {
      std::swap((*settings_).*setting, value);  // what was there goes after the lock
      return;
    }
  }
  refuse(*this, "has been launched already, and cannot be told any more what to run");
}

template <class Setting>
Setting NSTask::setting(Setting detail::TaskSettings::* setting) const {
  const UnfairLockGuard guard(lock_);
  return (*settings_).*setting;
}

using Settings = detail::TaskSettings;

std::optional<std::string> NSTask::launchPath() const { return setting(&Settings::launchPath); }
void NSTask::setLaunchPath(std::optional<std::string> path) { set(&Settings::launchPath, std::move(path)); }

std::vector<std::string> NSTask::arguments() const { return setting(&Settings::arguments); }
void NSTask::setArguments(std::vector<std::string> arguments) {
  set(&Settings::arguments, std::move(arguments));
}

std::optional<std::string> NSTask::currentDirectoryPath() const {
  return setting(&Settings::currentDirectoryPath);
}
void NSTask::setCurrentDirectoryPath(std::optional<std::string> path) {
  set(&Settings::currentDirectoryPath, std::move(path));
}

std::optional<std::map<std::string, std::string>> NSTask::environment() const {
  return setting(&Settings::environment);
}
void NSTask::setEnvironment(std::optional<std::map<std::string, std::string>> environment) {
  set(&Settings::environment, std::move(environment));
}

NSTask::Stream NSTask::standardInput() const { return setting(&Settings::input); }
void NSTask::setStandardInput(Stream stream) { set(&Settings::input, std::move(stream)); }
NSTask::Stream NSTask::standardOutput() const { return setting(&Settings::output); }
void NSTask::setStandardOutput(Stream stream) { set(&Settings::output, std::move(stream)); }
NSTask::Stream NSTask::standardError() const { return setting(&Settings::error); }
void NSTask::setStandardError(Stream stream) { set(&Settings::error, std::move(stream)); }

bool NSTask::startsProcessGroup() const { return setting(&Settings::startsProcessGroup); }
void NSTask::setStartsProcessGroup(bool starts) { set(&Settings::startsProcessGroup, starts); }

// Running

bool NSTask::launch(std::optional<NSError>* error) { return launch(false, error); }

bool NSTask::launch(bool launcherWaits, std::optional<NSError>* error) {
  Settings settings = beginLaunch();
  settings.launcherWaits = launcherWaits;
  std::shared_ptr<detail::ChildProcess> child;
  std::optional<NSError> failure;
  try {
    child = detail::launchChild(settings);
  } catch (const NSError& reason) {
    failure = reason;
  } catch (...) {
    closeChildEnds(settings);
    endLaunch(nullptr);
    throw;
  }
  closeChildEnds(settings);
  endLaunch(child);
  if (error != nullptr) *error = std::move(failure);
  return child != nullptr;
}

detail::TaskSettings NSTask::beginLaunch() {
  const char* fault = "has been launched already";
  {
    const UnfairLockGuard guard(lock_);
    if (!isLaunching_ && child_ == nullptr) {
      if (settings_->launchPath) {
        isLaunching_ = true;
        return *settings_;
      }
      fault = "has no launch path";
    }
  }
  refuse(*this, fault);
}

void NSTask::endLaunch(std::shared_ptr<detail::ChildProcess> child) {
  const UnfairLockGuard guard(lock_);
  isLaunching_ = false;
  if (child != nullptr) child->exchangeHandler(handler_);
  child_ = std::move(child);
}

std::shared_ptr<detail::ChildProcess> NSTask::child() const {
  const UnfairLockGuard guard(lock_);
  return child_;
}

std::shared_ptr<detail::ChildProcess> NSTask::launchedChild(const char* consequence) const {
  auto child = this->child();
  if (child == nullptr) refuse(*this, std::string("has not been launched") + consequence);
  return child;
}

bool NSTask::send(int signal) const {
  const auto child = this->child();
  return child != nullptr && child->send(signal);
}

bool NSTask::terminate() { return send(SIGTERM); }
bool NSTask::interrupt() { return send(SIGINT); }
bool NSTask::kill() { return send(SIGKILL); }
bool NSTask::suspend() { return send(SIGSTOP); }
bool NSTask::resume() { return send(SIGCONT); }

bool NSTask::isRunning() const {
  const auto child = this->child();
  return child != nullptr && !child->termination();
}

pid_t NSTask::processIdentifier() const {
  const auto child = this->child();
  return child == nullptr ? 0 : child->identifier();
}

void NSTask::waitUntilExit() const { (void)launchedChild("")->await({}); }

bool NSTask::waitUntilExit(std::chrono::nanoseconds atMost) const { return launchedChild("")->await(atMost); }

Task<NSTask::Termination> NSTask::untilExit() {
  const auto child = launchedChild("");
  co_return co_await withContinuation<Termination>([&child](const Continuation<Termination>& waiting) {
    child->addHandler([waiting](const Termination& termination) { waiting.resume(termination); });
  });
}

std::optional<NSTask::Termination> NSTask::termination() const {
  const auto child = this->child();
  return child == nullptr ? std::nullopt : child->termination();
}

int NSTask::terminationStatus() const {
  const auto end = launchedChild(": it has no termination status")->termination();
  if (!end) refuse(*this, "still runs: it has no termination status");
  return end->status;
}

NSTask::TerminationReason NSTask::terminationReason() const {
  const auto end = launchedChild(": it has no termination reason")->termination();
  if (!end) refuse(*this, "still runs: it has no termination reason");
  return end->reason;
}

void NSTask::setTerminationHandler(std::function<void(const Termination&)> handler) {
  // What it takes the place of goes after the lock.
  const UnfairLockGuard guard(lock_);
  if (child_ == nullptr) {
    handler_.swap(handler);
  } else {
    child_->exchangeHandler(handler);
  }
}

Dictionary NSTask::debugDictionary() const {
  Dictionary dictionary = NSObject::debugDictionary();
  if (const auto path = launchPath()) dictionary.set("launchPath", *path);
  Array list;
  for (const std::string& argument : arguments()) list.append(argument);
  dictionary.set("arguments", list);
  dictionary.set("processIdentifier", static_cast<std::int64_t>(processIdentifier()));
  return dictionary;
}

}  // namespace QVFoundation
