#include <algorithm>
#include <utility>

#include "QVFoundation/platform/concurrency/DispatchQueue.h"
#include "QVFoundation/platform/copying/CopyQueue_p.h"

namespace QVFoundation::detail {

namespace {

/// As many steps for each helper, so that waking it is worth it.
constexpr std::size_t leastWork = 8;

}  // namespace

CopyStep::~CopyStep() = default;

class CopyQueue::Shared : public std::enable_shared_from_this<Shared> {
public:
  std::size_t size() {
    const NSConditionGuard guard(condition_);
    return entries_.size();
  }

  void add(std::unique_ptr<CopyStep> step, unsigned mostHelpers) {
    const NSConditionGuard guard(condition_);
    const auto state = step->canBePrepared() ? State::waiting : State::prepared;
    entries_.push_back({std::move(step), state});
    if (state == State::prepared) return;
    ++waitingCount_;
    if (helperCount_ == mostHelpers || waitingCount_ < leastWork * (helperCount_ + 1)) return;
    ++helperCount_;
    DispatchQueue::global(QualityOfService::userInitiated)->async([self = shared_from_this()] {
      self->help();
    });
  }

  /// Waits until the first is prepared, and makes itself useful.
  std::unique_ptr<CopyStep> takeFirst(CopyBuffer& buffer) {
    const NSConditionGuard guard(condition_);
    while (entries_.front().state != State::prepared) workOrWait(buffer);
    auto step = std::move(entries_.front().step);
    entries_.pop_front();
    return step;
  }

  void prepareAll(CopyBuffer& buffer) {
    const NSConditionGuard guard(condition_);
    while (waitingCount_ > 0 || preparingCount_ > 0) workOrWait(buffer);
  }

  void end() {
    const NSConditionGuard guard(condition_);
    waitingCount_ = 0;
    for (Entry& entry : entries_) {
      if (entry.state == State::waiting) entry.state = State::prepared;
    }
    while (preparingCount_ > 0) condition_.wait();
    entries_.clear();
  }

private:
  enum class State { waiting, preparing, prepared };
  struct Entry {
    std::unique_ptr<CopyStep> step;
    State state;
  };

  void help() {
    CopyBuffer buffer;
    const NSConditionGuard guard(condition_);
    while (waitingCount_ > 0) prepareNext(buffer);
    --helperCount_;
  }

  void workOrWait(CopyBuffer& buffer) QV_REQUIRES(condition_) {
    if (waitingCount_ > 0) {
      prepareNext(buffer);
    } else {
      condition_.wait();
    }
  }

  // An entry stays where it is while it is prepared: others only come and go at the ends.
  void prepareNext(CopyBuffer& buffer) QV_REQUIRES(condition_) {
    Entry& entry = *std::ranges::find(entries_, State::waiting, &Entry::state);
    entry.state = State::preparing;
    --waitingCount_;
    ++preparingCount_;
    condition_.unlock();
    entry.step->prepare(buffer);
    condition_.lock();
    --preparingCount_;
    entry.state = State::prepared;
    condition_.broadcast();
  }

  NSCondition condition_;
  std::deque<Entry> entries_ QV_GUARDED_BY(condition_);
  std::size_t waitingCount_ QV_GUARDED_BY(condition_) = 0;
  std::size_t preparingCount_ QV_GUARDED_BY(condition_) = 0;
  unsigned helperCount_ QV_GUARDED_BY(condition_) = 0;
};

CopyQueue::CopyQueue(unsigned helpers) : mostHelpers_(helpers), shared_(std::make_shared<Shared>()) {}

CopyQueue::~CopyQueue() { shared_->end(); }

bool CopyQueue::add(std::unique_ptr<CopyStep> step) {
  if (isOver_) return false;
  ++addedCount_;
  shared_->add(std::move(step), mostHelpers_);
  while (!isOver_ && shared_->size() >= mostSteps) isOver_ = !finishFirst();
  return !isOver_;
}

bool CopyQueue::finishAll() {
  while (!isOver_ && shared_->size() > 0) isOver_ = !finishFirst();
  return !isOver_;
}

void CopyQueue::finishNone() {
  isOver_ = true;
  shared_->end();
}

void CopyQueue::prepareAll() { shared_->prepareAll(buffer_); }

bool CopyQueue::finishFirst() { return shared_->takeFirst(buffer_)->finish(buffer_); }

}  // namespace QVFoundation::detail
