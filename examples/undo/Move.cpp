#include "Move.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <ranges>
#include <unistd.h>
#include <utility>

#include <QVFoundation/QVFoundation.h>

#include "Inventory.h"
#include "shared/CopySummary.h"
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
  (void)attributesOf(from_);
  const fs::path folder = to_.parent_path();
  if (!qv_isDirectoryAtPath(folder)) throw staying(stringWithFormat("there is no folder “%@”", folder));
  if (isTaken(to_)) throw stayingForOther();
  // Only the system knows what it takes for one volume.
  if (::renameat2(AT_FDCWD, from_.c_str(), AT_FDCWD, to_.c_str(), RENAME_NOREPLACE) != 0) {
    if (errno == EXDEV) return moveToOtherVolume();
    giveName(from_);  // which knows other ways, and why not
  }
  isDone_ = true;
}

void Move::giveName(const fs::path& item) const {
  std::optional<NSError> error;
  if (files().moveItemAtPath(item, to_, &error)) return;
  if (isTaken(to_)) throw stayingForOther();
  throw NSError(*error);
}

void Move::moveToOtherVolume() {
  const Inventory original(from_);
  if (const auto closed = original.closedFolder())
    throw staying(stringWithFormat("“%@” cannot be changed", *closed));
  const fs::path temporary =
      qv_uniqueFilePathForName(stringWithFormat(".move-%d.part", getpid()), to_.parent_path());
  progress()->setTotalUnitCount(1);
  try {
    copyTo(temporary);
    if (const auto change = Inventory(from_).changeSince(original))
      throw staying(stringWithFormat("“%@” was changed meanwhile", *change));
    giveName(temporary);
  } catch (...) {
    if (isTaken(temporary)) removeItem(temporary);
    checkForCancellationAndReturnError();  // which is then the reason
    throw;
  }
  isDone_ = true;
  const auto left = flushAndRemove(original);
  if (!left.empty()) throw leaving(left);
}

/// What stays.
std::vector<std::string> Move::flushAndRemove(const Inventory& original) const {
  try {
    flushFolder(to_.parent_path());
  } catch (const std::exception& failure) {
    return {stringWithFormat("“%@” (%s)", from_, failure.what())};
  }
  return original.remove();
}

NSError Move::staying(const std::string& why) const {
  return errorWithDescription(stringWithFormat("“%@” stays: %@.", from_, why));
}

NSError Move::stayingForOther() const {
  return staying(stringWithFormat("“%@” exists already, and nothing is replaced", to_));
}

NSError Move::leaving(const std::vector<std::string>& left) const {
  std::string items;
  for (const std::string& item : left | std::views::take(3)) items += (items.empty() ? "" : ", ") + item;
  if (left.size() > 3) items += stringWithFormat(" and %zu more", left.size() - 3);
  return errorWithDescription(
      stringWithFormat("“%@” is whole at “%@”, but these stay where they were: %@.", from_, to_, items));
}

void Move::copyTo(const fs::path& copied) {
  using Clone = XRCopyFileOperation::CloneIfPossible;
  const auto copy = std::make_shared<XRCopyFileOperation>(from_, copied, Clone::no);
  copy->progress()->setKind(std::string(NSProgressKindFile));
  copy->setFlushPolicy(CopyFlushPolicy::written);
  performSubOperation(copy, 1);
  checkForCancellationAndReturnError();
  const auto& losses = copy->report().losses;
  if (!losses.empty()) throw staying("it would lose the " + lossText(losses.front()));
}

std::shared_ptr<QVUndoableOperation> Move::makeUndoOperation() {
  isSettled_ = true;
  return isDone_ ? std::make_shared<Move>(to_, from_, starts_) : nullptr;
}

std::shared_ptr<Move> Move::again() const { return std::make_shared<Move>(from_, to_, starts_); }

std::string Move::title() const {
  return stringWithFormat("“%@” to “%@”", from_.filename(), to_.parent_path());
}

std::shared_ptr<NSProgress> Move::bytes() const {
  const auto copy = subOperation();
  return copy != nullptr ? copy->progress() : nullptr;
}

}  // namespace example
