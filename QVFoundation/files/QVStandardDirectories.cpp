#include "QVFoundation/files/QVStandardDirectories.h"

#include "QVFoundation/collections/QVCollectionMapping.h"
#include "QVFoundation/platform/application/NSBundle.h"
#include "QVFoundation/platform/files/PathComponents.h"

namespace QVFoundation {

std::vector<std::filesystem::path> QVSearchPathForDirectoriesInDomains(NSSearchPathDirectory directory,
                                                                       NSSearchPathDomainMask domainMask,
                                                                       ExpandTilde expandTilde,
                                                                       PathView subPath) {
  auto folders = NSSearchPathForDirectoriesInDomains(directory, domainMask, expandTilde);
  if (subPath.empty()) return folders;
  return qv_arrayByApplyingBlockToObjects(folders, [&](const std::filesystem::path& folder) {
    return std::filesystem::path(stringByAppendingPathComponent(folder, subPath));
  });
}

std::string QVApplicationSupportSubPath() { return "Application Support/" + NSBundle::mainBundle()->name(); }

std::filesystem::path QVCacheDirectory() {
  const auto& bundle = *NSBundle::mainBundle();
  const auto caches =
      NSSearchPathForDirectoriesInDomains(NSSearchPathDirectory::caches, NSSearchPathDomainMask::user);
  return stringByAppendingPathComponent(caches.back(), bundle.bundleIdentifier().value_or(bundle.name()));
}

NSURL QVCacheDirectoryURL() { return QVCacheDirectory(); }

NSURL QVHomeDirectoryURL() { return NSURL::fileURLWithPath(NSHomeDirectory(), NSURL::IsDirectory::yes); }

}  // namespace QVFoundation
