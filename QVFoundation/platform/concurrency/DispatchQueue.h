#pragma once

#include <chrono>
#include <concepts>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/QualityOfService.h"
#include "QVFoundation/platform/concurrency/Scheduler.h"
#include "QVFoundation/platform/concurrency/Work.h"
#include "QVFoundation/platform/runtime/Result.h"

namespace QVFoundation {

namespace detail {

[[noreturn]] QV_EXPORT void refuseEmptyBlock();

/// Of what can be called, a `std::function` and a pointer may be empty.
template <class Block>
void requireBlock(const Block& /*block*/) noexcept {}
template <class Signature>
void requireBlock(const std::function<Signature>& block) {
  if (!block) refuseEmptyBlock();
}
template <class Function>
void requireBlock(Function* block) {
  if (block == nullptr) refuseEmptyBlock();
}

}  // namespace detail

/// Runs blocks in the background, one after the other or side by side, or on the main thread.
///
/// ```cpp
/// DispatchQueue::global()->async([=] {
///   const auto image = decode(file);
///   DispatchQueue::main()->async([=] { show(image); });
/// });
///
/// const auto index = DispatchQueue::serial("index");   // its blocks need no lock among themselves
/// index->async([=] { words->insert(word); });
/// const std::size_t count = index->sync([=] { return words->size(); });
/// ```
///
/// All queues but the main one share one pool of threads. A block may wait for whatever it likes: another
/// thread takes over meanwhile, until there are 512. When so many wait, what comes next waits for one of
/// them.
///
/// Threads: any. What a block does happens after all that its sender did before.
/// Ownership: a queue that still has blocks lives until they have run; they go with what they hold once they
/// have.
/// Errors: what a block of `async` or `after` throws ends the process; what one of `sync` throws goes to the
/// caller. An empty `std::function` raises `NSInvalidArgumentException` where it is handed over.
class QV_EXPORT DispatchQueue : public Scheduler, public std::enable_shared_from_this<DispatchQueue> {
public:
  /// Blocks run on the main thread, when the application lets them: see `MainQueue.h`.
  [[nodiscard]] static const std::shared_ptr<DispatchQueue>& main();
  /// Blocks run side by side.
  [[nodiscard]] static const std::shared_ptr<DispatchQueue>& global(
      QualityOfService qualityOfService = QualityOfService::standard);
  /// A new queue whose blocks run one at a time, in the order in which they came.
  [[nodiscard]] static std::shared_ptr<DispatchQueue> serial(
      std::string label, QualityOfService qualityOfService = QualityOfService::standard);

  /// Has a block run, and returns at once.
  template <class Block>
    requires std::invocable<std::decay_t<Block>&>
  void async(Block&& block) {
    detail::requireBlock(block);
    enqueue(detail::Work(std::forward<Block>(block)));
  }

  /// Has a block run and waits until it has; gives what it gives. Where the caller runs on this queue
  /// already, or this is a global one, the block runs at once.
  template <class Block>
    requires std::invocable<Block&>
  auto sync(Block&& block) -> std::remove_cvref_t<std::invoke_result_t<Block&>> {
    using Output = std::remove_cvref_t<std::invoke_result_t<Block&>>;
    detail::requireBlock(block);
    std::optional<Result<Output>> result;
    runAndWait([&] { result.emplace(Result<Output>::of(block)); });
    if constexpr (std::is_void_v<Output>) {
      (void)result->value();
    } else {
      return std::move(*result).value();
    }
  }

  /// Has a block run once some time has passed.
  template <class Block>
    requires std::invocable<std::decay_t<Block>&>
  void after(std::chrono::nanoseconds delay, Block&& block) {
    detail::requireBlock(block);
    enqueueAfter(delay, detail::Work(std::forward<Block>(block)));
  }

  void schedule(std::function<void()> work) override { async(std::move(work)); }

  [[nodiscard]] const std::string& label() const noexcept { return label_; }
  /// Whether the calling thread is just running a block of this queue; for the main queue, whether it is the
  /// main thread. Never so for a global one, whose blocks run side by side.
  [[nodiscard]] virtual bool isCurrent() const noexcept;
  /// Whether it is a global one, whose blocks do not wait for each other.
  [[nodiscard]] virtual bool runsSideBySide() const noexcept { return false; }

protected:
  explicit DispatchQueue(std::string label);

  virtual void enqueue(detail::Work&& work) = 0;
  /// Whether what the calling thread runs is a block of this queue, and not one inside of that.
  [[nodiscard]] bool isInnermost() const noexcept;
  virtual void runAndWait(const std::function<void()>& block);
  /// Runs a block of this queue, and lets go of it.
  void run(detail::Work work) const noexcept;

private:
  void enqueueAfter(std::chrono::nanoseconds delay, detail::Work work);

  const std::string label_;
};

}  // namespace QVFoundation
