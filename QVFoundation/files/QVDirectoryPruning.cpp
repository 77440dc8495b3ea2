#include "QVFoundation/files/QVDirectoryPruning.h"

#include <algorithm>
#include <ctime>
#include <string>
#include <tuple>
#include <vector>

#include "QVFoundation/files/DirectoryPruning_p.h"
#include "QVFoundation/files/FolderSize_p.h"
#include "QVFoundation/platform/files/DirectoryWalk_p.h"
#include "QVFoundation/platform/files/FileStatus_p.h"
#include "QVFoundation/platform/files/TreeRemoval_p.h"
#include "QVFoundation/platform/time/LocalTime_p.h"

namespace QVFoundation {

namespace {

struct PruningRecord {
  struct stat status;
  std::uint64_t fileSize;
  std::string name;

  [[nodiscard]] auto modificationDate() const {
    return std::tuple(std::int64_t{status.st_mtim.tv_sec}, std::int64_t{status.st_mtim.tv_nsec});
  }
};

bool isUnchanged(int folder, const PruningRecord& record) {
  struct stat now{};
  const int result = detail::uninterrupted(
      [&] { return detail::systemCalls().statAt(folder, record.name.c_str(), &now, AT_SYMLINK_NOFOLLOW); });
  return result == 0 && now.st_dev == record.status.st_dev && now.st_ino == record.status.st_ino &&
         PruningRecord{now, 0, {}}.modificationDate() == record.modificationDate();
}

/// What is in a folder, each with its size.
std::vector<PruningRecord> pruningRecords(const detail::Descriptor& folder, PathView path) {
  using Walk = detail::DirectoryWalk;
  std::vector<PruningRecord> records;
  Walk walk(detail::FileLocation(folder.number(), "."), path, Walk::Links::items);
  for (Walk::Event event = walk.next(); event != Walk::Event::end; event = walk.next()) {
    if (event != Walk::Event::item && event != Walk::Event::directory) continue;
    walk.skip();
    struct stat status{};
    if (walk.status(status) != 0) continue;
    const std::uint64_t size = S_ISDIR(status.st_mode) ? detail::physicalSizeOfFolder(
                                                             detail::FileLocation(walk.folder(), walk.name()),
                                                             walk.path(), Walk::Links::items)
                                                       : static_cast<std::uint64_t>(status.st_size);
    records.push_back({status, size, walk.name()});
  }
  std::ranges::sort(records, {}, [](const PruningRecord& record) {
    return std::tuple(record.modificationDate(), std::string_view(record.name));
  });
  return records;
}

}  // namespace

std::int64_t detail::secondsOfDaysBefore(std::int64_t seconds, std::int64_t days) {
  // More days than there are in the calendar, but few enough for a count of days.
  constexpr std::int64_t mostDays = 1'000'000'000;
  std::optional<std::tm> date = localTime(seconds);
  if (!date) return seconds;
  date->tm_mday -= static_cast<int>(std::clamp(days, -mostDays, mostDays));
  date->tm_isdst = -1;
  return secondsOfLocalTime(*date);
}

bool detail::removeItem(int folder, const char* name, PathView path) {
  std::string failed;
  return removeTree(FileLocation(folder, name), path, failed) == 0;
}

void detail::pruneDirectory(PathView directory, std::int64_t olderThanNumDays, std::uint64_t sizeLimit,
                            const ItemRemover& remove) {
  const Descriptor folder = FileLocation(directory).open(O_RDONLY | O_DIRECTORY);
  if (!folder.isOpen()) return;
  const std::vector<PruningRecord> records = pruningRecords(folder, directory);
  std::uint64_t total = 0;
  for (const PruningRecord& record : records) total += record.fileSize;

  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const std::int64_t cutoff = secondsOfDaysBefore(now.tv_sec, olderThanNumDays);
  for (const PruningRecord& record : records) {
    const bool isOld = record.modificationDate() <= std::tuple(cutoff, std::int64_t{now.tv_nsec});
    if (total < sizeLimit || !isOld) return;
    // What has its name by now, or was changed, is not what is old.
    if (!isUnchanged(folder.number(), record)) continue;
    if (remove(folder.number(), record.name.c_str(), std::string(directory) + '/' + record.name)) {
      total -= record.fileSize;
    }
  }
}

void qv_removeFilesInDirectory(PathView directory, std::int64_t olderThanNumDays, std::uint64_t sizeLimit) {
  detail::pruneDirectory(directory, olderThanNumDays, sizeLimit, detail::removeItem);
}

}  // namespace QVFoundation
