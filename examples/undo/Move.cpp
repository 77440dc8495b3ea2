#include "Move.h"

#include <unistd.h>
#include <utility>

#include <QVFoundation/QVFoundation.h>

#include "shared/Items.h"

namespace example {

using namespace QVFoundation;
namespace fs = std::filesystem;

namespace {

const NSFileManager& files() { return *NSFileManager::defaultManager(); }

void removeItem(const fs::path& item) {
  std::optional<NSError> error;
  if (!files().removeItemAtPath(item, &error, NSFileManager::ReadOnlyFolders::remove)) throw NSError(*error);
}

NSFileAttributes attributesOf(const fs::path& item) {
  std::optional<NSError> error;
  const auto attributes = files().attributesOfItemAtPath(item, &error);
  if (!attributes) throw NSError(*error);
  return *attributes;
}

}  // namespace

Move::Move(fs::path from, fs::path to, Starts starts)
    : QVOperation("Move"), from_(std::move(from)), to_(std::move(to)), starts_(std::move(starts)) {}

void Move::startInBackground() {
  starts_(std::static_pointer_cast<Move>(shared_from_this()));
  QVOperation::startInBackground();
}

void Move::perform() {
  checkForCancellationAndReturnError();
  updateLocalizedDescription("Moving " + title());
  const bool isNear = attributesOf(from_).volume == attributesOf(to_.parent_path() / ".").volume;
  if (isNear || isTaken(to_)) return giveName(from_);  // also to say why not, before anything is copied
  moveToOtherVolume();
}

void Move::giveName(const fs::path& item) const {
  std::optional<NSError> error;
  if (files().moveItemAtPath(item, to_, &error)) return;
  if (!isTaken(to_)) throw NSError(*error);
  throw staying(stringWithFormat("“%@” exists already, and nothing is replaced", to_));
}

void Move::moveToOtherVolume() {
  if (::access(from_.parent_path().c_str(), W_OK) != 0) throw staying("its folder cannot be changed");
  const NSFileAttributes before = attributesOf(from_);
  const fs::path temporary =
      qv_uniqueFilePathForName(stringWithFormat(".move-%d.part", getpid()), to_.parent_path());
  progress()->setTotalUnitCount(1);
  try {
    copyTo(temporary);
    const NSFileAttributes now = attributesOf(from_);
    if (now.fileNumber != before.fileNumber || now.modificationDate != before.modificationDate)
      throw staying("it was changed meanwhile");
    giveName(temporary);
  } catch (const NSError&) {
    if (isTaken(temporary)) removeItem(temporary);
    checkForCancellationAndReturnError();  // which is then the reason
    throw;
  }
  flushFolder(to_.parent_path());
  removeItem(from_);
}

NSError Move::staying(const std::string& why) const {
  return errorWithDescription(stringWithFormat("“%@” stays: %@.", from_, why));
}

void Move::copyTo(const fs::path& copied) {
  using Clone = XRCopyFileOperation::CloneIfPossible;
  const auto copy = std::make_shared<XRCopyFileOperation>(from_, copied, Clone::no);
  copy->progress()->setKind(std::string(NSProgressKindFile));
  copy->setFlushPolicy(CopyFlushPolicy::written);
  performSubOperation(copy, 1);
  checkForCancellationAndReturnError();
}

std::shared_ptr<QVUndoableOperation> Move::makeUndoOperation() {
  isSettled_ = true;
  return operationError() ? nullptr : std::make_shared<Move>(to_, from_, starts_);
}

std::string Move::title() const {
  return stringWithFormat("“%@” to “%@”", from_.filename(), to_.parent_path());
}

std::shared_ptr<NSProgress> Move::bytes() const {
  const auto copy = subOperation();
  return copy != nullptr ? copy->progress() : nullptr;
}

}  // namespace example
