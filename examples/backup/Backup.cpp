#include "Backup.h"

#include <cerrno>
#include <unistd.h>
#include <utility>

#include <QVFoundation/QVFoundation.h>

#include "shared/DiffReport.h"
#include "shared/Items.h"

namespace example {

using namespace QVFoundation;
namespace fs = std::filesystem;

namespace {

constexpr QVProgressSegmentName measuring("measuring"), copying("copying"), comparing("comparing");

const NSFileManager& files() { return *NSFileManager::defaultManager(); }

}  // namespace

Backup::Backup(Options options, Conflict conflict, TakeWayOut takeWayOut)
    : QVOperation("Backup"),
      options_(std::move(options)),
      compares_(options_.verifies && hasContent(options_.source)),
      conflict_(conflict),
      takeWayOut_(std::move(takeWayOut)) {
  progress()->setLocalizedDescription("Measuring");
}

// About what each costs where the files have not been read lately.
void Backup::calculateSegmentCosts() {
  setCost(5, measuring);
  setCost(70, copying);
  if (compares_) setCost(25, comparing);
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
  logInfoString(stringWithFormat("Copying %@ to %@", options_.source, temporary_));
  if (isFolder(options_.source)) logInfoString(stringWithFormat("%ld bytes", size->result().value()));
  const CopyReport report = performSegment(copying, 1, [&](NSProgress&) { return copySource(); });
  const auto fileCount = report.cloned.files + report.offloaded.files + report.copied.files +
                         report.linked.files + report.others;
  if (compares_) compareCopy(static_cast<std::int64_t>(fileCount));
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
  destination_ = options_.destination;
  const std::string name = destination_.filename();
  const fs::path folder = destination_.parent_path();
  if (name.empty() || name == "." || name == "..") throw errorWithDescription("The copy needs a name.");
  if (!qv_isDirectoryAtPath(folder)) {
    throw errorWithDescription(stringWithFormat("There is no folder “%@”.", folder));
  }
  const auto place = files().getRelationship(options_.source, folder);
  if (isFolder(options_.source) && place && *place != NSURLRelationship::other) {
    throw errorWithDescription(stringWithFormat("“%@” is in the source itself.", destination_));
  }
  if (isTaken(destination_)) {
    if (conflict_ == Conflict::cancel) throw conflictError();
    if (conflict_ == Conflict::keepBoth) destination_ = uniqueDestination();
    const auto relationship = files().getRelationship(destination_, options_.source);
    if (conflict_ == Conflict::replace && relationship && *relationship != NSURLRelationship::other) {
      throw errorWithDescription(stringWithFormat("Replacing “%@” would remove the source.", destination_));
    }
  }
  temporary_ = qv_uniqueFilePathForName(stringWithFormat(".backup-%d.part", getpid()), folder);
}

fs::path Backup::uniqueDestination() const {
  return qv_uniqueFilePathForName(options_.destination.filename().native(),
                                  options_.destination.parent_path());
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
    DiffReport report(options_.source, temporary_);
    const auto lines = std::make_shared<QVProcessStreamCollector>([&](std::string_view line) {
      checkForCancellationAndReturnError();  // waits here while paused, and soon so does who writes the lines
      logDebugBlock([&] { return std::string(line); });
      const auto equalItem = report.take(line);
      if (!equalItem) return;
      updateLocalizedAdditionalDescription(*equalItem);
      incrementCompletedUnitCount(equal);
    });
    const auto complaints = std::make_shared<QVProcessStreamCollector>(500);
    const auto diff =
        std::make_shared<QVProcessOperation>("/usr/bin/diff", report.arguments(), std::nullopt, lines);
    diff->setErrorHandle(complaints);
    diff->process()->setEnvironment(std::map<std::string, std::string>{{"LC_ALL", "C"}});
    try {
      run(diff, 0);
    } catch (const NSError& error) {
      const bool foundDifferences = error.domain() == NSPOSIXErrorDomain && error.code() == 1;
      if (foundDifferences && report.isOfEquals()) return;
      throw qv_errorWithDomain("BackupErrorDomain", 1,
                               "The copy could not be found equal to its source.\n" + report.differences() +
                                   std::string(complaints->text()),
                               {}, error);
    }
  });
}

// What is replaced goes only when the copy, which is whole, has its name.
void Backup::giveName() {
  using Replacement = NSFileManager::Replacement;
  auto replacement = Replacement::done;
  std::optional<NSError> error;
  if (conflict_ == Conflict::keepBoth) destination_ = uniqueDestination();
  if (conflict_ == Conflict::replace && isTaken(destination_)) {
    replacement = files().replaceItemAtPath(destination_, temporary_, &error);
    if (replacement == Replacement::failed) throw NSError(*error);
  } else if (!files().moveItemAtPath(temporary_, destination_, &error)) {
    if (isTaken(destination_)) throw conflictError();  // by somebody else, meanwhile
    throw NSError(*error);
  }
  if (options_.flushes) flushFolder(destination_.parent_path());
  if (replacement == Replacement::done) return;
  throw qv_errorWithDomain(
      "BackupErrorDomain", 2,
      stringWithFormat("The copy is at “%@”, but not all is gone that it replaced.", destination_), {},
      error);
}

std::shared_ptr<NSProgress> Backup::part() const {
  if (const auto copy = std::dynamic_pointer_cast<XRCopyFileOperation>(subOperation()))
    return copy->progress();
  const auto segment = currentSegmentProgress();
  return segment != nullptr && segment->totalUnitCount() > 1 ? segment : nullptr;
}

}  // namespace example
