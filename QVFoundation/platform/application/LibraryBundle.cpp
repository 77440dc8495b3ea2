#include <dlfcn.h>
#include <filesystem>
#include <system_error>

#include "QVFoundation/platform/application/LibraryBundle_p.h"
#include "QVFoundation/platform/application/NSBundle_p.h"
#include "QVFoundation/platform/text/NSLocale.h"

namespace QVFoundation::detail {

namespace {

std::filesystem::path folderOfLibrary() {
  static const char somethingInIt = 0;
  Dl_info module{};
  if (dladdr(&somethingInIt, &module) == 0 || module.dli_fname == nullptr) return {};
  std::error_code error;
  return std::filesystem::absolute(module.dli_fname, error).parent_path();
}

}  // namespace

const std::shared_ptr<NSBundle>& libraryBundle() {
  // Never destroyed, since texts are needed to the very end.
  static const auto& bundle = *new std::shared_ptr<NSBundle>(
      BundleFactory::bundleOfProgram(folderOfLibrary() / "QVFoundation", {}, NSLocale::preferredLanguages()));
  return bundle;
}

}  // namespace QVFoundation::detail
