#include "QVFoundation/files/QVFileMeasures.h"

#include "QVFoundation/files/FolderSize_p.h"
#include "QVFoundation/platform/files/DirectoryWalk_p.h"
#include "QVFoundation/platform/files/FileLocation_p.h"
#include "QVFoundation/platform/files/FileStatus_p.h"

namespace QVFoundation {

namespace {

/// What the system says of an item; all zeros where it says nothing.
struct statx statusAt(PathView path, unsigned mask, TraverseLink traverseLink = TraverseLink::no) {
  const auto follow = traverseLink == TraverseLink::yes ? detail::FollowLinks::yes : detail::FollowLinks::no;
  struct statx status{};
  if (detail::FileLocation(path).status(follow, mask | STATX_TYPE, status) != 0) return {};
  return status;
}

}  // namespace

std::uint64_t qv_totalSizeOfFileAtPath(PathView path) {
  const struct statx status = statusAt(path, STATX_SIZE);
  return S_ISREG(status.stx_mode) ? status.stx_size : 0;
}

std::uint64_t qv_physicalSizeOfFileAtPath(PathView path) {
  const struct statx status = statusAt(path, STATX_BLOCKS);
  return S_ISREG(status.stx_mode) ? detail::allocatedSize(status) : 0;
}

std::uint64_t qv_physicalSizeOfFolderAtPath(PathView path) {
  return detail::physicalSizeOfFolder(detail::FileLocation(path), path,
                                      detail::DirectoryWalk::Links::followed);
}

std::uint64_t detail::physicalSizeOfFolder(FileLocation location, PathView path, DirectoryWalk::Links links) {
  using Walk = DirectoryWalk;
  std::uint64_t size = 0;
  Walk walk(std::move(location), path, links);
  for (Walk::Event event = walk.next(); event != Walk::Event::end; event = walk.next()) {
    if (event != Walk::Event::item || walk.type() != NSFileType::regular) continue;
    struct stat status{};
    if (walk.status(status) == 0) size += allocatedSize(status);
  }
  return size;
}

Value addPhysicalSizeOfPath(PathView path, std::uint64_t& sizeData) {
  sizeData += qv_physicalSizeOfFileAtPath(path);
  return {};
}

NSFileType qv_objectTypeAtPath(PathView path, TraverseLink traverseLink) {
  const struct statx status = statusAt(path, STATX_TYPE, traverseLink);
  return status.stx_mode == 0 ? NSFileType::none : detail::fileTypeOfMode(status.stx_mode);
}

std::uint64_t qv_objectIDAtPath(PathView path, TraverseLink traverseLink) {
  return statusAt(path, STATX_INO, traverseLink).stx_ino;
}

bool qv_isDirectoryAtPath(PathView path) {
  return qv_objectTypeAtPath(path, TraverseLink::yes) == NSFileType::directory;
}

}  // namespace QVFoundation
