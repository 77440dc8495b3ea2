#pragma once

#include <atomic>
#include <functional>
#include <string_view>
#include <utility>

#include "QVFoundation/platform/concurrency/NSOperation.h"
#include "QVFoundation/platform/runtime/ChangeNotice.h"

namespace QVFoundation::testing {

class BlockOperation : public NSOperation {
public:
  explicit BlockOperation(std::function<void()> block = {}) : block_(std::move(block)) {}
  void main() override {
    if (block_) block_();
  }

private:
  const std::function<void()> block_;
};

/// Goes on after `start` has returned, until somebody ends it.
class OpenOperation : public NSOperation {
public:
  void start() override { change("isExecuting", isExecuting_, true); }
  bool isAsynchronous() const override { return true; }
  bool isExecuting() const override { return isExecuting_; }
  bool isFinished() const override { return isFinished_; }
  void end() {
    change("isExecuting", isExecuting_, false);
    change("isFinished", isFinished_, true);
  }

private:
  void change(std::string_view key, std::atomic<bool>& state, bool value) {
    const ChangeNotice notice(*this, key);
    state = value;
  }
  std::atomic<bool> isExecuting_ = false, isFinished_ = false;
};

}  // namespace QVFoundation::testing
