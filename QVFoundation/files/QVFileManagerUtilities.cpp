#include "QVFoundation/files/QVFileManagerUtilities.h"

#include "QVFoundation/platform/application/NSBundle.h"
#include "QVFoundation/platform/files/DirectoryWalk_p.h"
#include "QVFoundation/platform/files/NSSearchPath.h"

namespace QVFoundation {

using WithIntermediateDirectories = NSFileManager::WithIntermediateDirectories;

const std::shared_ptr<NSFileManager>& qv_currentThreadFileManager() {
  thread_local const auto manager = std::make_shared<NSFileManager>();
  return manager;
}

std::filesystem::path qv_createAppTemporaryDirectory() {
  const NSBundle& bundle = *NSBundle::mainBundle();
  const std::filesystem::path folder =
      NSTemporaryDirectory() / bundle.bundleIdentifier().value_or(bundle.name());
  qv_currentThreadFileManager()->createDirectoryAtPath(folder, WithIntermediateDirectories::yes);
  return folder;
}

std::optional<NSError> qv_createDirectoryAtPath(PathView path) {
  std::optional<NSError> error;
  qv_currentThreadFileManager()->createDirectoryAtPath(path, WithIntermediateDirectories::yes, &error);
  return error;
}

std::optional<NSFileAttributes> qv_fileAttributesAtPath(PathView path, TraverseLink traverseLink,
                                                        std::optional<NSError>* error) {
  const NSFileManager& files = *qv_currentThreadFileManager();
  const auto attributes = files.attributesOfItemAtPath(path, error);
  if (!attributes || traverseLink == TraverseLink::no || attributes->type != NSFileType::symbolicLink) {
    return attributes;
  }
  const auto destination = files.destinationOfSymbolicLinkAtPath(path, error);
  return destination ? files.attributesOfItemAtPath(*destination, error) : std::nullopt;
}

bool detail::isDirectoryEmpty(PathView path, const IgnoredTexts& ignoredPaths,
                              const IgnoredTexts& ignoredNames) {
  const auto attributes = qv_currentThreadFileManager()->attributesOfItemAtPath(path);
  if (!attributes || attributes->type != NSFileType::directory) return false;

  using Walk = detail::DirectoryWalk;
  Walk walk(detail::FileLocation(path), path, Walk::Links::items);
  for (Walk::Event event = walk.next(); event != Walk::Event::end; event = walk.next()) {
    if (event != Walk::Event::item && event != Walk::Event::directory) continue;
    if (ignoredNames.contains(std::string_view(walk.name())) || ignoredPaths.contains(walk.path())) {
      walk.skip();
    } else if (event == Walk::Event::item) {
      return false;
    }
  }
  return true;
}

}  // namespace QVFoundation
