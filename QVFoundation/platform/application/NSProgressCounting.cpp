#include <algorithm>
#include <array>
#include <functional>
#include <limits>
#include <list>
#include <optional>
#include <utility>

#include "QVFoundation/platform/application/NSProgressState_p.h"
#include "QVFoundation/platform/runtime/ChangeNotice.h"
#include "QVFoundation/platform/runtime/FirstObservations_p.h"

// How a report gets about.
//
// A report changes a number, which is atomic. The fractions that it makes stale, up to the root, are marked
// as such: a stale progress stands on its parent's list of stale children, and its parent is stale as well.
// So the next report finds its own mark and has nothing more to do. Who reads a fraction takes in the stale
// ones below and nothing else. Marks and numbers are written and read in one order by all threads: either the
// reader sees the new number, or who reports sees that the mark is gone.
//
// Observers have to be told of every change. That nobody observes a progress or one above it is noted in its
// mark, together with the number of first observations that the process had seen by then; while that number
// stands, the note is true.

namespace QVFoundation {

namespace {

constexpr std::uint64_t staleBit = 1;  // above it, the number of first observations
constexpr int bitsOfShare = 62;
constexpr double wholeShare = 0x1p62;

using detail::firstObservations;

__extension__ double rounded(unsigned __int128 shares) noexcept {
  return static_cast<double>(static_cast<std::uint64_t>(shares >> 64)) * 0x1p64 +
         static_cast<double>(static_cast<std::uint64_t>(shares));
}

}  // namespace

namespace detail {

/// Tells observers of a progress, and of those above it, of a change that happens while this exists.
class ProgressChange {
public:
  /// An empty key stands for a change of the fraction alone.
  ProgressChange(NSProgress& changed, std::string_view key, const NSProgress::Counts& after) {
    plan(changed, key, after);
    forEach([](Told& told) { told.begin(); });
  }
  /// For those who have come to observe it only just now: a change that has happened, and may have been any.
  ProgressChange(NSProgress& changed, std::string_view key) {
    plan(changed, key, changed.counts());
    forEach([](Told& told) { told.beginAll(); });
  }
  ProgressChange(const ProgressChange&) = delete;
  ProgressChange& operator=(const ProgressChange&) = delete;
  ~ProgressChange() {
    forEach([](Told& told) { told.end(); });
  }

private:
  /// One that is observed.
  struct Told {
    Told(NSProgress& changed, std::string_view keyOfCount, const NSProgress::Counts& countsBefore,
         const NSProgress::Counts& countsAfter)
        : progress(changed), key(keyOfCount), before(countsBefore), after(countsAfter) {}

    void begin() {
      if (!key.empty()) count.emplace(progress, key);
      fraction.emplace(progress, "fractionCompleted");
      if (before.isIndeterminate() != after.isIndeterminate()) {
        indeterminate.emplace(progress, "isIndeterminate");
      }
      if (before.isFinished() != after.isFinished()) finished.emplace(progress, "isFinished");
    }

    void beginAll() {
      begin();
      if (!count) count.emplace(progress, "completedUnitCount");
      indeterminate.emplace(progress, "isIndeterminate");
      finished.emplace(progress, "isFinished");
    }

    void end() {
      const NSProgress::Counts now = progress.counts();
      // What was not foreseen is due to other threads, which may have foreseen it no more.
      const bool countsLate = !count && now.completed != before.completed;
      const bool isLate = !indeterminate && now.isIndeterminate() != before.isIndeterminate();
      const bool finishesLate = !finished && now.isFinished() != before.isFinished();
      count.reset();
      fraction.reset();
      indeterminate.reset();
      finished.reset();
      if (countsLate) const ChangeNotice late(progress, "completedUnitCount");
      if (isLate) const ChangeNotice late(progress, "isIndeterminate");
      if (finishesLate) const ChangeNotice late(progress, "isFinished");
    }

    NSProgress& progress;
    std::shared_ptr<NSObject> kept;
    const std::string_view key;
    const NSProgress::Counts before;
    const NSProgress::Counts after;
    std::optional<ChangeNotice> count;
    std::optional<ChangeNotice> fraction;
    std::optional<ChangeNotice> indeterminate;
    std::optional<ChangeNotice> finished;
  };

  void plan(NSProgress& changed, std::string_view key, NSProgress::Counts after) {
    const UnfairLockGuard guard(NSProgress::treeLock_);
    if (changed.verifyUnobserved()) return;
    for (NSProgress* each = &changed; each != nullptr; each = each->parent_) {
      if (each->mayBeObserved()) {
        // One that is just being let go of has no observers to tell any more.
        auto kept = each->weak_from_this().lock();
        if (kept != nullptr || each == &changed) {
          add(*each, key, each->counts(), after).kept = std::move(kept);
        }
      }
      if (each->parent_ == nullptr) return;
      const bool counts = after.isFinished();
      key = counts ? "completedUnitCount" : "";
      const std::int64_t units = counts ? each->pending_ : 0;
      after = each->parent_->counts();
      if (!after.isFinished()) after.add(units);
    }
  }

  Told& add(NSProgress& progress, std::string_view key, const NSProgress::Counts& before,
            const NSProgress::Counts& after) {
    if (count_ < near_.size()) return near_[count_++].emplace(progress, key, before, after);
    return far_.emplace_back(progress, key, before, after);
  }

  template <class Action>
  void forEach(Action action) {
    for (std::size_t i = 0; i < count_; ++i) action(*near_[i]);
    for (Told& told : far_) action(told);
  }

  std::array<std::optional<Told>, 4> near_;  // without memory of their own
  std::size_t count_ = 0;
  std::list<Told> far_;
};

}  // namespace detail

bool NSProgress::isIndeterminate() const noexcept { return counts().isIndeterminate(); }
bool NSProgress::isFinished() const noexcept { return counts().isFinished(); }
bool NSProgress::isStale() const noexcept { return (mark_.load() & staleBit) != 0; }

void NSProgress::addCompletedUnitCount(std::int64_t units) {
  const auto sum = [units](std::int64_t completed) {
    Counts counts{0, completed};
    counts.add(units);
    return counts.completed;
  };
  changeCompleted(sum, [&] { return sum(completed_.fetch_add(units)); });
}

void NSProgress::setCompletedUnitCount(std::int64_t count) {
  changeCompleted([count](std::int64_t) { return count; },
                  [&] {
                    completed_.store(count);
                    return count;
                  });
}

void NSProgress::setTotalUnitCount(std::int64_t count) {
  tellChange("totalUnitCount", {count, completed_}, [&] {
    total_.store(count);
    return std::uint64_t{0};
  });
}

template <class After, class Change>
void NSProgress::changeCompleted(After after, Change change) {
  const std::uint64_t observations = mark_.load() >> 1;
  if (observations != firstObservations.load()) [[unlikely]]
    return changeAndTell(after, change);
  const std::int64_t completed = change();
  const Counts now{total_.load(),
                   completed};  // in this order: who changes the total reads what is completed after it
  if (!now.isFinished() && mark_.load() == (firstObservations.load() << 1 | staleBit)) [[likely]]
    return;
  spreadChange(observations);
  tellLate("completedUnitCount", observations);
}

// Mostly all that is to be told is known at once: that the units and the fractions have changed.
template <class After, class Change>
void NSProgress::changeAndTell(After after, Change change) {
  const std::uint64_t observations = firstObservations.load();
  Observed observed;
  bool isSimple = false;
  Counts before{};
  Counts now{};
  {
    const UnfairLockGuard guard(treeLock_);
    before = counts();
    now = {before.total, after(before.completed)};
    isSimple = before.isFinished() == now.isFinished() && findObserved(observed);
    if (isSimple) {
      now.completed = change();
      markStale();
    }
  }
  if (!isSimple) {
    return tellChange("completedUnitCount", now, [&] {
      change();
      return std::uint64_t{0};
    });
  }
  for (std::size_t i = 0; i < observed.count; ++i) {
    NSProgress& each = *observed.progresses[i];
    if (&each == this) {
      detail::didChange(each, "completedUnitCount", nullptr);
      if (before.isIndeterminate() != now.isIndeterminate())
        detail::didChange(each, "isIndeterminate", nullptr);
    }
    detail::didChange(each, "fractionCompleted", nullptr);
  }
  const bool endsUnforeseen = isFinished() != before.isFinished();  // another thread's report has decided it
  if (endsUnforeseen) spreadChange(neverObserved);
  tellLate("completedUnitCount", endsUnforeseen ? neverObserved : observations);
}

bool NSProgress::findObserved(Observed& observed) noexcept {
  const std::uint64_t observations = firstObservations.load();
  bool isAny = false;
  for (NSProgress* each = this; each != nullptr; each = each->parent_) {
    if (!isAny && each->mark_.load(std::memory_order_relaxed) >> 1 == observations) break;
    if (!each->mayBeObserved()) continue;
    isAny = true;
    if (each->mayBeObservedBeforeChange() || observed.count == observed.progresses.size()) return false;
    auto kept = std::static_pointer_cast<NSProgress>(each->weak_from_this().lock());
    if (kept == nullptr && each != this) continue;  // it is just being let go of
    if (kept == nullptr) kept = std::shared_ptr<NSProgress>(std::shared_ptr<void>(), this);
    observed.progresses[observed.count++] = std::move(kept);
  }
  if (!isAny) (void)verifyUnobserved();
  return true;
}

template <class Change>
void NSProgress::tellChange(std::string_view key, const Counts& after, const Change& change) {
  std::uint64_t observations = firstObservations.load();
  {
    const detail::ProgressChange told(*this, key, after);
    observations += change();
    spreadChange(observations);
  }
  tellLate(key, observations);
}

void NSProgress::tellChangeOfTree(std::string_view key, const Counts& after,
                                  const std::function<std::uint64_t()>& change) {
  tellChange(key, after, change);
}

void NSProgress::tellLate(std::string_view key, std::uint64_t observations) {
  if (firstObservations.load() != observations) const detail::ProgressChange late(*this, key);
}

bool NSProgress::verifyUnobserved() noexcept {
  const std::uint64_t observations = firstObservations.load();
  NSProgress* end = this;
  for (; end != nullptr && end->mark_.load(std::memory_order_relaxed) >> 1 != observations;
       end = end->parent_) {
    if (end->mayBeObserved()) return false;
  }
  for (NSProgress* each = this; each != end; each = each->parent_) {
    const std::uint64_t stale = each->mark_.load(std::memory_order_relaxed) & staleBit;
    each->mark_.store(observations << 1 | stale, std::memory_order_release);
  }
  return true;
}

void NSProgress::spreadChange(std::uint64_t observations) {
  if (!isStale()) {
    const UnfairLockGuard guard(treeLock_);
    markStale();
  }
  if (!isFinished()) return;
  for (auto parent = countInParentIfFinished(); parent != nullptr;) {
    auto next = parent->countInParentIfFinished();
    parent->tellLate("completedUnitCount", observations);
    parent = std::move(next);
  }
}

std::shared_ptr<NSProgress> NSProgress::countInParentIfFinished() {
  std::shared_ptr<NSProgress> kept;  // goes after the lock
  const UnfairLockGuard guard(treeLock_);
  if (parent_ == nullptr || !isFinished()) return nullptr;
  auto parent = std::static_pointer_cast<NSProgress>(parent_->weak_from_this().lock());
  if (parent == nullptr) return nullptr;  // it is just being let go of
  parent->countCompleted(pending_);
  kept = parent->detach(*this);
  parent->markStale();
  return parent;
}

// One that is complete counts its children no more; a sum that no number holds stays at the largest.
void NSProgress::countCompleted(std::int64_t units) noexcept {
  const Counts now = counts();
  if (now.isFinished()) return;
  completed_.fetch_add(
      std::min(units, std::numeric_limits<std::int64_t>::max() - std::max<std::int64_t>(now.completed, 0)));
}

void NSProgress::markStale() noexcept {
  for (NSProgress* each = this; each != nullptr; each = each->parent_) {
    const std::uint64_t mark = each->mark_.load(std::memory_order_relaxed);
    if ((mark & staleBit) != 0) return;  // so all above are
    each->mark_.store(mark | staleBit, std::memory_order_release);
    if (each->parent_ == nullptr || each->isListedStale_) continue;
    each->parent_->staleChildren_.append(*each);
    each->isListedStale_ = true;
  }
}

void NSProgress::markFresh() noexcept {
  mark_.store(mark_.load(std::memory_order_relaxed) & ~staleBit, std::memory_order_relaxed);
}

double NSProgress::fractionCompleted() const {
  const UnfairLockGuard guard(treeLock_);
  if (isStale()) const_cast<NSProgress*>(this)->refresh();  // what it changes is a cache
  return fraction_;
}

// A reader waits for these numbers level by level, since each fraction is made from that below. So as little
// as can be stands between a share and the fraction: the sum is one of integers, and the divisor is ready
// before it.
inline void NSProgress::computeFraction() noexcept {
  const Counts now = counts();
  if (now.isFinished() || now.isIndeterminate()) {
    fraction_ = now.isFinished() ? 1 : 0;
    return;
  }
  const auto total = static_cast<double>(now.total);
  if (sharesOfChildren_ == 0) {
    fraction_ = static_cast<double>(now.completed) / total;
  } else {
    const Share sum = (static_cast<Share>(now.completed) << bitsOfShare) + sharesOfChildren_;
    fraction_ = std::min(rounded(sum) / (total * wholeShare), 1.0);
  }
}

/// Takes a stale child off the list.
inline void NSProgress::takeShareOf(NSProgress& child) noexcept {
  staleChildren_.remove(child);
  child.isListedStale_ = false;
  const auto part = static_cast<std::int64_t>(child.fraction_ * wholeShare);  // so much at most
  sharesOfChildren_ -= child.share_;
  child.share_ = static_cast<Share>(child.pending_) * static_cast<Share>(part);
  sharesOfChildren_ += child.share_;
}

// It does not recurse: trees may be deep. A child may be listed whose own reader has made it fresh.
void NSProgress::refresh() noexcept {
  NSProgress* each = this;
  each->markFresh();
  bool isOrdered = false;
  for (;;) {
    while (NSProgress* const child = each->staleChildren_.first()) {
      if (child->isStale()) {
        child->markFresh();
        isOrdered = false;
        each = child;
      } else {
        each->takeShareOf(*child);
      }
    }
    // Numbers are read after the marks have gone.
    if (!std::exchange(isOrdered, true)) std::atomic_thread_fence(std::memory_order_seq_cst);
    each->computeFraction();
    if (each == this) return;
    NSProgress* const parent = each->parent_;
    parent->takeShareOf(*each);
    each = parent;
  }
}

}  // namespace QVFoundation
