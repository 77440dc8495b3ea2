#include "Backup.h"

#include <cerrno>
#include <unistd.h>
#include <utility>

#include <QVFoundation/QVFoundation.h>

namespace example {

using namespace QVFoundation;
namespace fs = std::filesystem;

namespace {

constexpr QVProgressSegmentName measuring("measuring"), copying("copying"), comparing("comparing");

const NSFileManager& files() { return *NSFileManager::defaultManager(); }

bool isTaken(const fs::path& path) { return qv_objectTypeAtPath(path) != NSFileType::none; }

}  // namespace

Backup::Backup(Options options, Conflict conflict, TakeWayOut takeWayOut)
    : QVOperation("Backup"),
      options_(std::move(options)),
      conflict_(conflict),
      takeWayOut_(std::move(takeWayOut)) {
  progress()->setLocalizedDescription("Measuring");
}

// About what each costs where the files have not been read lately.
void Backup::calculateSegmentCosts() {
  setCost(5, measuring);
  setCost(70, copying);
  if (options_.verifies) setCost(25, comparing);
}

CopyReport Backup::perform() {
  chooseNames();
  struct Cleanup {
    Backup& backup;
    ~Cleanup() {
      std::optional<NSError> error;
      if (!isTaken(backup.temporary_) ||
          files().removeItemAtPath(backup.temporary_, &error, NSFileManager::ReadOnlyFolders::remove))
        return;
      (void)backup.logError(*error);
    }
  } const cleanup{*this};

  const auto size = std::make_shared<QVCalculateFolderSizeOperation>(options_.source);
  performSegment(measuring, 1, [&](NSProgress&) { run(size, 1); });
  logInfoString(stringWithFormat("Copying %@, with %ld bytes in folders, to %@", options_.source,
                                 size->result().value(), temporary_));
  const CopyReport report = performSegment(copying, 1, [&](NSProgress&) { return copySource(); });
  const auto fileCount = report.cloned.files + report.offloaded.files + report.copied.files +
                         report.linked.files + report.others;
  if (options_.verifies) compareCopy(static_cast<std::int64_t>(fileCount));
  checkForCancellationAndReturnError();
  giveName();
  return report;
}

/// A program or another operation that is ended by a cancellation says so in its own way, or not at all; why
/// that was is known here.
template <class Child>
void Backup::run(const std::shared_ptr<Child>& child, std::int64_t unitCount) {
  try {
    performSubOperation(child, unitCount);
  } catch (const NSError&) {
    checkForCancellationAndReturnError();
    throw;
  }
  checkForCancellationAndReturnError();
}

void Backup::chooseNames() {
  destination_ = NSURL(options_.destination).path();
  const std::string name = destination_.filename();
  const fs::path folder = destination_.parent_path();
  if (name.empty() || name == "." || name == "..") throw errorWithDescription("The copy needs a name.");
  if (!qv_isDirectoryAtPath(folder)) {
    throw errorWithDescription(stringWithFormat("There is no folder “%@”.", folder));
  }
  if (isTaken(destination_)) {
    if (conflict_ == Conflict::cancel) throw conflictError();
    if (conflict_ == Conflict::keepBoth) destination_ = qv_uniqueFilePathForName(name, folder);
    const auto relationship = files().getRelationship(destination_, options_.source);
    if (conflict_ == Conflict::replace && relationship && *relationship != NSURLRelationship::other) {
      throw errorWithDescription(stringWithFormat("Replacing “%@” would remove the source.", destination_));
    }
  }
  temporary_ = qv_uniqueFilePathForName(stringWithFormat(".backup-%d.part", getpid()), folder);
}

NSError Backup::conflictError() const {
  return QVErrorBuilder::buildErrorWithBlock([this](QVErrorBuilder& builder) {
    builder.setDomain("BackupErrorDomain");
    builder.setCode(EEXIST);
    builder.setLocalizedDescription(stringWithFormat("“%@” exists already.", destination_));
    builder.setLocalizedRecoverySuggestion("Choose what becomes of it, here or by --on-conflict.");
    const auto offer = [&](const char* title, Conflict wayOut) {
      builder.addRecoveryOptionWithTitle(
          title, [take = takeWayOut_, wayOut](const NSError&) { return take(wayOut); });
    };
    offer("Replace", Conflict::replace);
    offer("Keep both", Conflict::keepBoth);
    offer("Cancel", Conflict::cancel);
  });
}

CopyReport Backup::copySource() {
  updateLocalizedDescription("Copying");
  const auto clones =
      options_.clones ? XRCopyFileOperation::CloneIfPossible::yes : XRCopyFileOperation::CloneIfPossible::no;
  const auto copy = std::make_shared<XRCopyFileOperation>(options_.source, temporary_, clones);
  copy->progress()->setKind(std::string(NSProgressKindFile));
  if (options_.flushes) copy->setFlushPolicy(CopyFlushPolicy::written);
  run(copy, 1);
  return copy->report();
}

void Backup::compareCopy(std::int64_t fileCount) {
  performSegment(comparing, fileCount, [&](NSProgress& equal) {
    updateLocalizedDescription("Comparing");
    updateLocalizedAdditionalDescription("");
    std::string differences;
    const auto lines = std::make_shared<QVProcessStreamCollector>([&](std::string_view line) {
      checkForCancellationAndReturnError();  // waits here while paused, and soon so does who writes the lines
      logDebugBlock([&] { return std::string(line); });
      if (!noteEqual(line, equal) && differences.size() < 500) differences += '\n' + std::string(line);
    });
    const auto complaints = std::make_shared<QVProcessStreamCollector>(500);
    const std::vector<std::string> arguments{"--recursive",      "--brief", "--report-identical-files",
                                             "--no-dereference", "--",      options_.source,
                                             temporary_};
    const auto diff = std::make_shared<QVProcessOperation>("/usr/bin/diff", arguments, std::nullopt, lines);
    diff->setErrorHandle(complaints);
    diff->process()->setEnvironment(std::map<std::string, std::string>{{"LC_ALL", "C"}});
    try {
      run(diff, 0);
    } catch (const NSError& error) {
      // It calls it a difference that there are two pipes, which it cannot compare.
      const bool foundDifferences = error.domain() == NSPOSIXErrorDomain && error.code() == 1;
      if (foundDifferences && equal.completedUnitCount() == fileCount) return;
      throw qv_errorWithDomain("BackupErrorDomain", 1,
                               "The copy could not be found equal to its source." + differences + '\n' +
                                   std::string(complaints->text()),
                               {}, error);
    }
  });
}

/// "Files A and B are identical", "File A is a fifo while file B is a fifo": whether a line says that two
/// items are as good as equal. Of one with a line break in its name, the last part of the line does.
bool Backup::noteEqual(std::string_view line, NSProgress& equal) const {
  constexpr std::string_view between = " while file ", before = " is a ", begin = "Files ";
  if (const auto middle = line.find(between); middle != std::string_view::npos) {
    const auto kind = line.substr(0, middle).rfind(before);
    if (kind == std::string_view::npos || !line.ends_with(line.substr(kind, middle - kind))) return false;
  } else if (!line.ends_with(" are identical")) {
    return false;
  }
  const auto end = line.find(" and " + temporary_.native());
  if (line.starts_with(begin) && end != std::string_view::npos) {
    updateLocalizedAdditionalDescription(std::string(line.substr(begin.size(), end - begin.size())));
  }
  incrementCompletedUnitCount(equal);
  return true;
}

// What is replaced goes only when the copy, which is whole, has its name.
void Backup::giveName() {
  const bool replaces = conflict_ == Conflict::replace && isTaken(destination_);
  std::optional<NSError> error;
  const bool isDone = replaces ? files().replaceItemAtPath(destination_, temporary_, &error) ==
                                     NSFileManager::Replacement::done
                               : files().moveItemAtPath(temporary_, destination_, &error);
  if (!isDone) throw NSError(*error);
}

std::shared_ptr<NSProgress> Backup::part() const {
  if (const auto copy = std::dynamic_pointer_cast<XRCopyFileOperation>(subOperation()))
    return copy->progress();
  const auto segment = currentSegmentProgress();
  return segment != nullptr && segment->totalUnitCount() > 1 ? segment : nullptr;
}

}  // namespace example
