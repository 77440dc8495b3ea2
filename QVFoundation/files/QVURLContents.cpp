#include "QVFoundation/files/QVURLContents.h"

#include "QVFoundation/files/QVFileManagerUtilities.h"
#include "QVFoundation/files/QVURLProperties.h"

namespace QVFoundation {

bool qv_containsURL(const NSURL& url, const std::optional<NSURL>& other) {
  return other && qv_currentThreadFileManager()->getRelationship(url, *other) == NSURLRelationship::contains;
}

void enumerateContents(const NSURL& url, const std::function<void(const NSURL&)>& callback) {
  if (!isDirectory(url)) return;
  for (const auto& item : NSFileManager::defaultManager()->enumeratorAtPath(url)) {
    const auto kind = item.type() == NSFileType::directory ? NSURL::IsDirectory::yes : NSURL::IsDirectory::no;
    callback(NSURL::fileURLWithPath(item.path(), kind));
  }
}

}  // namespace QVFoundation
