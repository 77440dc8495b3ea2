#include "QVFoundation/operations/QVCalculateFolderSizeOperation.h"

#include <cerrno>
#include <utility>

#include "QVFoundation/platform/files/DirectoryWalk_p.h"
#include "QVFoundation/platform/files/FileErrors_p.h"
#include "QVFoundation/platform/runtime/FatalError.h"

namespace QVFoundation {

using detail::DirectoryWalk;

const NSClass& QVCalculateFolderSizeOperation::staticClass() {
  static const NSClass& cls = *new NSClass(NSClass::define<QVCalculateFolderSizeOperation>(
                                               "QVCalculateFolderSizeOperation", QVOperation::staticClass())
                                               .readOnly("url", &QVCalculateFolderSizeOperation::url));
  return cls;
}

QVCalculateFolderSizeOperation::QVCalculateFolderSizeOperation(NSURL url)
    : QVOperation("QVCalculateFolderSizeOperation"), url_(std::move(url)) {}

// One call of the system for each item: the walk knows the kinds, and looks names up in the open folder.
std::int64_t QVCalculateFolderSizeOperation::perform() {
  using Event = DirectoryWalk::Event;
  std::int64_t total = 0;
  if (!url_.isFileURL()) return total;
  DirectoryWalk walk(detail::FileLocation(url_), url_, DirectoryWalk::Links::items);
  for (Event event = walk.next(); event != Event::end; event = walk.next()) {
    if (event != Event::item && event != Event::directory) continue;
    if (event == Event::item) {
      struct stat status{};
      if (walk.status(status) != 0) throw NSError(detail::fileReadError(walk.path(), errno));
      if (__builtin_add_overflow(total, status.st_size, &total)) {
        fatalError("The sizes of all files in " + url_.path() + " are more than can be counted");
      }
    }
    checkForCancellationAndReturnError();
  }
  return total;
}

}  // namespace QVFoundation
