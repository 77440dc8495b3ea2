#include <atomic>
#include <cstdlib>
#include <deque>
#include <string>
#include <system_error>
#include <utility>

#include "QVFoundation/platform/application/NSBundle_p.h"
#include "QVFoundation/platform/concurrency/Mutex.h"
#include "QVFoundation/platform/text/NSLocale.h"
#include "QVFoundation/platform/tracing/NSLog.h"

namespace QVFoundation {

namespace {

using Slot = std::shared_ptr<NSBundle>;

std::filesystem::path executable() {
  std::error_code error;
  std::filesystem::path path = std::filesystem::read_symlink("/proc/self/exe", error);
  // While a program is being replaced by a new version, the old one's file is gone.
  constexpr std::string_view deleted = " (deleted)";
  std::string text = path.string();
  if (text.ends_with(deleted) && !std::filesystem::exists(path, error))
    text.resize(text.size() - deleted.size());
  return text;
}

/// A program with more rights than its user has does not take its resources from where the user says.
std::filesystem::path folderFromEnvironment() {
  const char* const folder = secure_getenv("QV_BUNDLE_PATH");
  return folder != nullptr ? folder : "";
}

Slot bundleOfThisProgram() {
  return detail::BundleFactory::bundleOfProgram(executable(), folderFromEnvironment(),
                                                NSLocale::preferredLanguages());
}

/// The main bundle. Never destroyed, since texts are needed to the very end.
std::atomic<const Slot*>& current() {
  static std::atomic<const Slot*> slot{new Slot(bundleOfThisProgram())};
  return slot;
}

}  // namespace

const std::shared_ptr<NSBundle>& NSBundle::mainBundle() { return *current().load(std::memory_order_acquire); }

namespace detail {

std::shared_ptr<NSBundle> BundleFactory::bundleOfProgram(const Path& executable,
                                                         const Path& folderFromEnvironment,
                                                         const Languages& languages) {
  const Path folder = executable.parent_path();
  const std::string name = executable.filename().string();
  if (!folderFromEnvironment.empty()) {
    if (auto bundle = bundleInFolder(folderFromEnvironment, languages, name)) return bundle;
    NSLog("QV_BUNDLE_PATH names no folder: %@", folderFromEnvironment.string());
  }
  for (const Path& candidate : {folder / (name + ".resources"), folder.parent_path() / "share" / name}) {
    if (auto bundle = bundleInFolder(candidate, languages, name)) return bundle;
  }
  return bundleWithoutResources(folder, name);
}

// What references may still point to is kept for the life of the process.
MainBundleOverride::MainBundleOverride(std::shared_ptr<NSBundle> bundle) {
  static Mutex& lock = *new Mutex;
  static auto& slots = *new std::deque<Slot>;
  const MutexLock guard(lock);
  previous_ = current().exchange(&slots.emplace_back(std::move(bundle)));
}

MainBundleOverride::~MainBundleOverride() { current().store(previous_); }

}  // namespace detail

}  // namespace QVFoundation
