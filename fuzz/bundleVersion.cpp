#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "QVFoundation/platform/application/NSBundle.h"
#include "QVFoundation/values/QVBundleVersion.h"
#include "QVFoundation/values/QVVersionNumber.h"
#include "fuzz/Folder.h"
#include "fuzz/Require.h"

// A bundle whose Info.plist holds anything.

using namespace QVFoundation;
using fuzzing::require;

namespace {

void checkEntry(const NSBundle& bundle, const char* key, const std::shared_ptr<QVVersionNumber>& version) {
  const auto text = bundle.objectForInfoDictionaryKey(key).as<std::string>();
  const auto expected = QVVersionNumber::versionWithString(text);
  require((version == nullptr) == (expected == nullptr));
  if (version) require(version->digits() == expected->digits() && version->countOfDigits() > 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fuzzing::Folder folder;
  const std::string_view content(reinterpret_cast<const char*>(data), size);
  fuzzing::Folder::write(folder.path("Info.plist"), content);
  const auto bundle = NSBundle::bundleWithPath(folder.path(""));
  require(bundle != nullptr);
  checkEntry(*bundle, "CFBundleVersion", versionNumber(*bundle));
  checkEntry(*bundle, "CFBundleShortVersionString", qv_displayVersionNumber(*bundle));
  (void)bundle->name();
  (void)bundle->developmentLocalization();
  return 0;
}
