#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/application/NSBundle.h"

namespace QVFoundation::detail {

/// Makes bundles of what is on disk, for readers of given languages.
///
/// Threads: functions without state.
class QV_TEST_EXPORT BundleFactory {
public:
  using Path = std::filesystem::path;
  using Languages = std::vector<std::string>;

  /// Null where there is no such folder. Without a name of its own the bundle has that of the folder.
  [[nodiscard]] static std::shared_ptr<NSBundle> bundleInFolder(const Path& folder,
                                                                const Languages& languages,
                                                                const std::optional<std::string>& name = {});

  /// The main bundle of a program. `folderFromEnvironment` is empty where the environment names none.
  [[nodiscard]] static std::shared_ptr<NSBundle> bundleOfProgram(const Path& executable,
                                                                 const Path& folderFromEnvironment,
                                                                 const Languages& languages);

private:
  [[nodiscard]] static std::shared_ptr<NSBundle> bundleWithoutResources(const Path& folder,
                                                                        const std::string& name);
};

/// Makes another bundle the main one for a scope, for tests.
///
/// Threads: other threads may use the main bundle meanwhile. Scopes of this kind must end in reverse order.
/// Ownership: references that `NSBundle::mainBundle()` has returned stay valid to the end of the process.
class QV_TEST_EXPORT MainBundleOverride {
public:
  explicit MainBundleOverride(std::shared_ptr<NSBundle> bundle);
  MainBundleOverride(const MainBundleOverride&) = delete;
  MainBundleOverride& operator=(const MainBundleOverride&) = delete;
  ~MainBundleOverride();

private:
  const std::shared_ptr<NSBundle>* previous_;
};

}  // namespace QVFoundation::detail
