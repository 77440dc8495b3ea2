#include "QVFoundation/files/QVURLProperties.h"

#include <string_view>

#include "QVFoundation/platform/files/NSFileManager.h"

namespace QVFoundation {

namespace {

/// A URL's path is without the slash at its end already, but for "/".
std::string_view pathWithoutSlash(const NSURL& url) {
  return url.path() == "/" ? std::string_view() : std::string_view(url.path());
}

}  // namespace

bool isEqualByPath(const std::optional<NSURL>& url, const std::optional<NSURL>& to) noexcept {
  return url && to ? pathWithoutSlash(*url) == pathWithoutSlash(*to) : !url && !to;
}

std::int64_t fileSize(const NSURL& url) {
  return url.resourceValueForKey(NSURLFileSizeKey).as<std::int64_t>().value_or(0);
}

bool fileExists(const NSURL& url) { return url.checkResourceIsReachable(); }

bool isDirectory(const NSURL& url) {
  return url.resourceValueForKey(NSURLIsDirectoryKey).as<bool>().value_or(false);
}

std::optional<std::string> typeIdentifier(const NSURL& url) {
  return url.resourceValueForKey(NSURLTypeIdentifierKey).as<std::string>();
}

std::optional<NSDate> creationDate(const NSURL& url) {
  return url.resourceValueForKey(NSURLCreationDateKey).as<NSDate>();
}

bool isInTrash(const NSURL& url) {
  return url.isFileURL() &&
         NSFileManager::defaultManager()->getRelationship(
             NSSearchPathDirectory::trash, NSSearchPathDomainMask::user, url) == NSURLRelationship::contains;
}

}  // namespace QVFoundation
