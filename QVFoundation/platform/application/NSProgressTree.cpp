#include <algorithm>
#include <iterator>
#include <string>
#include <utility>

#include "QVFoundation/platform/application/NSProgressReporting.h"
#include "QVFoundation/platform/application/NSProgressState_p.h"
#include "QVFoundation/platform/runtime/FirstObservations_p.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {

namespace {

using Children = std::vector<std::shared_ptr<NSProgress>>;

constinit thread_local Children* progressesToRelease = nullptr;

/// Lets go of the children of a progress that is destroyed, and then of theirs: one after the other, since a
/// tree may be deeper than the stack.
void release(Children children) {
  if (progressesToRelease != nullptr) {
    std::ranges::move(children, std::back_inserter(*progressesToRelease));
    return;
  }
  progressesToRelease = &children;
  while (!children.empty()) {
    const auto last = std::move(children.back());
    children.pop_back();
  }
  progressesToRelease = nullptr;
}

[[noreturn]] void refuseChild(const NSProgress& parent, const NSProgress* child, const char* why) {
  throw NSException(NSInvalidArgumentException,
                    parent.shortDescription() + " cannot be the parent of " +
                        (child != nullptr ? child->shortDescription() : "nothing") + ": " + why);
}

}  // namespace

UnfairLock NSProgress::treeLock_;

NSProgressReporting::~NSProgressReporting() = default;

NSProgress::NSProgress(std::int64_t totalUnitCount) : total_(totalUnitCount) {}

NSProgress::~NSProgress() {
  Children orphans;
  {
    const UnfairLockGuard guard(treeLock_);
    while (NSProgress* const child = children_.first()) orphans.push_back(detach(*child));
  }
  if (!orphans.empty()) release(std::move(orphans));
}

void NSProgress::addChild(const std::shared_ptr<NSProgress>& child, std::int64_t withPendingUnitCount) {
  if (child == nullptr) refuseChild(*this, nullptr, "there is none");
  if (withPendingUnitCount < 0) refuseChild(*this, child.get(), "it would stand for less than nothing");
  Children cancelled;
  Children paused;
  const bool isFinished = child->isFinished();
  Counts after = counts();
  if (isFinished && !after.isFinished()) after.add(withPendingUnitCount);
  tellChangeOfTree(isFinished ? "completedUnitCount" : "", after, [&] {
    const char* why = nullptr;
    std::uint64_t counted = 0;
    {
      const UnfairLockGuard guard(treeLock_);
      why = whyNotAbove(*child);
      if (why == nullptr) counted = attach(child, withPendingUnitCount);
      if (why == nullptr && wantsCancel_) child->wantCancel(cancelled);
      if (why == nullptr && wantsPause_) child->wantPause(true, paused);
    }
    if (why != nullptr) refuseChild(*this, child.get(), why);
    child->spreadChange(isFinished ? detail::firstObservations.load() : neverObserved);
    return counted;
  });
  for (const auto& each : cancelled) each->tellCancellation();
  for (const auto& each : paused) each->tellPauses();
}

const char* NSProgress::whyNotAbove(const NSProgress& child) const noexcept {
  if (child.parent_ != nullptr) return "it has a parent already";
  if (&child == this) return "it is the same";
  if (child.children_.first() == nullptr) return nullptr;
  for (const NSProgress* each = parent_; each != nullptr; each = each->parent_) {
    if (each == &child) return "it stands above";
  }
  return nullptr;
}

std::uint64_t NSProgress::attach(const std::shared_ptr<NSProgress>& child, std::int64_t pending) {
  // Whether it is observed from above has been noted where there was nothing above it.
  const bool mayHaveNoted =
      child->mark_.load() != 0 || child->children_.first() != nullptr || child->mayBeObserved();
  const std::uint64_t counted = mayHaveNoted && !verifyUnobserved() ? 1 : 0;
  detail::firstObservations.fetch_add(counted);
  child->parent_ = this;
  child->keptByParent_ = child;
  child->pending_ = pending;
  children_.append(*child);
  staleChildren_.append(*child);
  child->isListedStale_ = true;
  markStale();
  return counted;
}

std::shared_ptr<NSProgress> NSProgress::detach(NSProgress& child) noexcept {
  children_.remove(child);
  if (std::exchange(child.isListedStale_, false)) staleChildren_.remove(child);
  sharesOfChildren_ -= std::exchange(child.share_, 0);
  child.pending_ = 0;
  child.parent_ = nullptr;
  return std::move(child.keptByParent_);
}

void NSProgress::endChild(NSProgress& child) {
  std::int64_t units = 0;
  {
    const UnfairLockGuard guard(treeLock_);
    if (child.parent_ != this) return;
    units = child.pending_;
  }
  std::shared_ptr<NSProgress> kept;
  Counts after = counts();
  const bool counts = !after.isFinished();
  if (counts) after.add(units);
  tellChangeOfTree(counts ? "completedUnitCount" : "", after, [&] {
    const UnfairLockGuard guard(treeLock_);
    if (child.parent_ == this) {
      countCompleted(units);
      kept = detach(child);
    }
    return std::uint64_t{0};
  });
}

std::shared_ptr<NSProgress> NSProgress::parent() const {
  const UnfairLockGuard guard(treeLock_);
  return parent_ == nullptr ? nullptr
                            : std::static_pointer_cast<NSProgress>(parent_->weak_from_this().lock());
}

std::vector<std::shared_ptr<NSProgress>> NSProgress::children() const {
  Children children;
  const UnfairLockGuard guard(treeLock_);
  for (const NSProgress* each = children_.first(); each != nullptr; each = each->siblings_.next) {
    children.push_back(each->keptByParent_);
  }
  return children;
}

NSProgress* NSProgress::nextBelow(const NSProgress& each) const noexcept {
  if (NSProgress* const child = each.children_.first()) return child;
  for (const NSProgress* last = &each; last != this; last = last->parent_) {
    if (last->siblings_.next != nullptr) return last->siblings_.next;
  }
  return nullptr;
}

}  // namespace QVFoundation
