#pragma once

#include <filesystem>
#include <memory>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/application/NSUserDefaults.h"

namespace QVFoundation::detail {

/// Makes settings, and sees to it that they are saved when the program ends.
///
/// Threads: any.
class QV_TEST_EXPORT UserDefaultsFactory {
public:
  /// Those that are in use under an identifier, which can be the name of a folder; else new ones.
  [[nodiscard]] static std::shared_ptr<NSUserDefaults> defaultsOf(std::string_view identifier);
  /// New ones in a file, as another process that runs the application has them.
  [[nodiscard]] static std::shared_ptr<NSUserDefaults> defaultsInFile(const std::filesystem::path& path);

private:
  class InUse;
};

}  // namespace QVFoundation::detail
