#include "QVFoundation/platform/concurrency/DispatchQueue.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <functional>
#include <future>
#include <latch>
#include <memory>
#include <poll.h>
#include <stdexcept>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>

#include "QVFoundation/platform/concurrency/MainQueue.h"
#include "QVFoundation/platform/concurrency/MainQueueDrain_p.h"
#include "QVFoundation/platform/concurrency/NSCondition.h"
#include "QVFoundation/platform/concurrency/ThreadPool_p.h"
#include "QVFoundation/platform/concurrency/WorkList_p.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "tests/platform/concurrency/OnThreads.h"
#include "tests/platform/runtime/RaisedException.h"

namespace QVFoundation {
namespace {

using namespace std::chrono_literals;
using detail::ThreadPool;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using testing::raisedBy;
using ::testing::StartsWith;

/// Waits until work sent to a queue before has run.
void settle(DispatchQueue& queue) {
  std::promise<void> done;
  queue.async([&] { done.set_value(); });
  done.get_future().wait();
}

struct Alive {
  explicit Alive(int& its) : alive(&its) { ++*alive; }
  Alive(Alive&& other) noexcept : alive(other.alive) { ++*alive; }
  Alive(const Alive&) = delete;
  Alive& operator=(const Alive&) = delete;
  ~Alive() { --*alive; }
  int* alive;
};

TEST(Work, isMovedAndLetGoOfWhateverItsSize) {
  int alive = 0, runs = 0;
  const auto lives = [&](auto padding) {
    detail::Work work(
        [held = Alive(alive), padding, &runs] { runs += static_cast<int>(padding.size()) > 0; });
    detail::Work moved(std::move(work));
    detail::Work assigned([other = Alive(alive)] {});
    assigned = std::move(moved);
    EXPECT_EQ(alive, 1);
    EXPECT_TRUE(assigned && !work && !moved);  // NOLINT(bugprone-use-after-move): empty, not undefined
    assigned();
  };
  lives(std::array<char, 1>());
  lives(std::array<char, 200>());
  EXPECT_TRUE(alive == 0 && runs == 2);
  auto unique = std::make_unique<int>(7);
  detail::Work([&, its = std::move(unique)] { runs = *its; })();
  EXPECT_EQ(runs, 7);
}

TEST(ThreadPool, goesOnWhileItsThreadsWaitWhetherTheySaySoOrNot) {
  for (const bool saysSo : {true, false}) {
    static constexpr int waiting = 64;
    std::latch allWait(waiting), mayGo(1), done(waiting + 1);
    NSCondition condition;
    bool isOpen = false;
    const auto queue = DispatchQueue::global();
    for (int i = 0; i < waiting; ++i) {
      queue->async([&, saysSo] {
        allWait.count_down();
        if (saysSo) {
          const NSConditionGuard guard(condition);
          while (!isOpen) condition.wait();
        } else {
          mayGo.wait();
        }
        done.count_down();
      });
    }
    allWait.wait();
    queue->async([&] {
      {
        const NSConditionGuard guard(condition);
        isOpen = true;
        condition.broadcast();
      }
      mayGo.count_down();
      done.count_down();
    });
    done.wait();
  }
}

TEST(WorkList, keepsTheOrderHoweverMuchComesAndGoes) {
  detail::WorkList list, other;
  int in = 0, out = 0, ran = -1, alive = 0;
  for (const int change : {1, -1, 70, -69, 200, -201, 32, -32, 33, -1, 31, -63, 1'000, -7}) {
    for (int i = 0; i < change; ++i) list.push([&ran, number = in++, its = Alive(alive)] { ran = number; });
    for (int i = 0; i > change; --i) {
      list.pop()();
      EXPECT_EQ(ran, out++);
    }
    EXPECT_EQ(list.count(), static_cast<std::size_t>(in - out));
    EXPECT_EQ(list.empty(), in == out);
    swap(list, other);
    EXPECT_TRUE(list.empty());
    swap(list, other);
  }
  EXPECT_EQ(alive, in - out);
  {
    detail::WorkList last;
    swap(last, list);
  }
  EXPECT_EQ(alive, 0);
}

TEST(ThreadPool, countsThreadsAgainThatHaveSleptAndWorkOn) {
  static ThreadPool& pool = *new ThreadPool(2, 1s);
  constexpr int works = 40;
  std::atomic<int> begun = 0;
  std::atomic<bool> mayEnd = false;
  std::latch done(works);
  for (int i = 0; i < works; ++i) {
    pool.submit(
        [&] {
          const int enough = ++begun + 2;
          begun.notify_all();
          for (int now = begun; now < enough && !mayEnd; now = begun) begun.wait(now);
          while (!mayEnd) std::this_thread::yield();
          done.count_down();
        },
        QualityOfService::standard);
  }
  std::this_thread::sleep_for(200ms);  // dozens of looks at them
  EXPECT_LE(begun, 12) << "more than two work, so nothing more should begin";
  mayEnd = true;
  begun += works;
  begun.notify_all();
  done.wait();
}

TEST(ThreadPool, letsThreadsGoThatHaveNothingToDo) {
  static ThreadPool& pool = *new ThreadPool(3, 10ms);
  for (int round = 0; round < 3; ++round) {
    std::latch together(3), done(3);
    for (int i = 0; i < 3; ++i) {
      pool.submit(
          [&] {
            together.arrive_and_wait();
            done.count_down();
          },
          QualityOfService::standard);
    }
    done.wait();
    while (pool.threadCount() > 0) std::this_thread::yield();
  }
}

TEST(ThreadPool, prefersWhatIsUrgentAndForgetsNothing) {
  static ThreadPool& pool = *new ThreadPool(1, 1s);
  using enum QualityOfService;
  std::vector<QualityOfService> order;
  // What they make of it when all of it waits.
  const auto orderOf = [&](const std::vector<QualityOfService>& works) -> const auto& {
    order.clear();
    std::latch isBusy(1), done(std::ssize(works));
    std::atomic<bool> mayEnd = false;
    pool.submit(
        [&] {
          isBusy.count_down();
          while (!mayEnd) std::this_thread::yield();
        },
        standard);
    isBusy.wait();
    for (const QualityOfService each : works) {
      pool.submit(
          [&, each] {
            order.push_back(each);
            done.count_down();
          },
          each);
    }
    mayEnd = true;
    done.wait();
    return order;
  };
  EXPECT_THAT(orderOf({background, utility, standard, userInitiated, userInteractive}),
              ElementsAre(userInteractive, userInitiated, standard, utility, background));
  std::vector<QualityOfService> flood(500, userInteractive);
  flood.front() = background;
  const auto& mixed = orderOf(flood);
  EXPECT_LT(std::ranges::find(mixed, background) - mixed.begin(), 65);
}

TEST(DispatchQueue, serialRunsOneAtATimeInTheOrderOfEachSender) {
  const auto queue = DispatchQueue::serial("order");
  std::array<std::vector<int>, 4> seen;
  std::atomic<int> inside = 0;
  testing::onThreads(4, [&](int thread) {
    for (int i = 0; i < 500; ++i) {
      queue->async([&, thread, i] {
        EXPECT_EQ(++inside, 1);
        seen[static_cast<std::size_t>(thread)].push_back(i);
        --inside;
      });
    }
  });
  settle(*queue);
  for (const auto& each : seen) {
    EXPECT_EQ(each.size(), 500U);
    EXPECT_TRUE(std::ranges::is_sorted(each));
  }
}

TEST(DispatchQueue, syncGivesWhatTheBlockGivesOrThrows) {
  const auto queue = DispatchQueue::serial("sync");
  for (const auto& each : {queue, DispatchQueue::global(QualityOfService::utility), DispatchQueue::main()}) {
    EXPECT_EQ(each->sync([] { return std::make_unique<int>(3); }).operator*(), 3);
    EXPECT_THROW(each->sync([] { throw std::runtime_error("no"); }), std::runtime_error);
  }
  std::vector<int> order;
  queue->sync([&] {
    EXPECT_TRUE(queue->isCurrent());
    order.push_back(1);
    queue->sync([&] { order.push_back(2); });
    DispatchQueue::serial("other")->sync([&] { queue->async([&] { order.push_back(4); }); });
    order.push_back(3);
  });
  settle(*queue);
  EXPECT_THAT(order, ElementsAre(1, 2, 3, 4));
  EXPECT_FALSE(queue->isCurrent());
}

TEST(DispatchQueue, livesUntilItsBlocksHaveRunAndLetsGoOfThem) {
  auto held = std::make_shared<int>(0);
  std::promise<void> done;
  auto queue = DispatchQueue::serial("short-lived");
  std::weak_ptr<DispatchQueue> watch = queue;
  queue->async([its = std::move(queue), held, &done] { done.set_value(); });
  done.get_future().wait();
  while (!watch.expired() || held.use_count() > 1) std::this_thread::yield();
}

TEST(DispatchQueue, afterKeepsTheOrderOfTimesAndIsNeverEarly) {
  const auto queue = DispatchQueue::serial("later");
  const auto start = std::chrono::steady_clock::now();
  std::vector<int> order;
  std::latch done(4);
  const std::pair<std::chrono::nanoseconds, int> delays[] = {{20ms, 3}, {10ms, 2}, {30ms, 4}, {-1h, 1}};
  for (const auto& [delay, number] : delays) {
    queue->after(delay, [&, its = delay, which = number] {
      EXPECT_GE(std::chrono::steady_clock::now() - start, its);
      order.push_back(which);
      done.count_down();
    });
  }
  queue->after(std::chrono::nanoseconds::max(), [] { FAIL() << "a century has passed"; });
  done.wait();
  EXPECT_THAT(order, ElementsAre(1, 2, 3, 4));
}

bool isReadable(int descriptor) {
  pollfd asked{.fd = descriptor, .events = POLLIN, .revents = 0};
  return ::poll(&asked, 1, 0) == 1;
}

TEST(MainQueue, isDrainedByTheMainThreadWhenItsDescriptorIsReadable) {
  EXPECT_FALSE(isReadable(mainQueueFileDescriptor()));
  std::vector<int> order;
  std::jthread([&] {
    EXPECT_FALSE(isMainThread() || DispatchQueue::main()->isCurrent());
    for (int i = 0; i < 3; ++i) {
      DispatchQueue::main()->async([&, i] {
        EXPECT_TRUE(isMainThread());
        order.push_back(i);
        if (i == 2) DispatchQueue::main()->async([&] { order.push_back(3); });
      });
    }
    EXPECT_THAT(raisedBy([] { drainMainQueue(); }),
                StartsWith("NSInternalInconsistencyException: drainMainQueue"));
    EXPECT_THAT(raisedBy([] { runMainQueue(); }),
                StartsWith("NSInternalInconsistencyException: runMainQueue"));
  }).join();
  EXPECT_TRUE(isReadable(mainQueueFileDescriptor()));
  drainMainQueue();
  EXPECT_THAT(order, ElementsAre(0, 1, 2)) << "what comes meanwhile waits for the next time";
  EXPECT_TRUE(isReadable(mainQueueFileDescriptor()));
  drainMainQueue();
  EXPECT_THAT(order, ElementsAre(0, 1, 2, 3));
  EXPECT_FALSE(isReadable(mainQueueFileDescriptor()));
}

TEST(MainQueue, runsUntilItIsStopped) {
  std::atomic<int> runs = 0;
  stopMainQueue();
  DispatchQueue::main()->async([&] { ++runs; });
  runMainQueue();
  EXPECT_EQ(runs, 0) << "what was sent before the stop";
  std::jthread sender([&] {
    while (runs == 0) std::this_thread::yield();
    DispatchQueue::main()->sync([&] { ++runs; });
    DispatchQueue::main()->async([&] {
      stopMainQueue();
      runMainQueue();  // one inside of the other
      ++runs;
    });
    while (runs < 3) std::this_thread::yield();
    stopMainQueue();
  });
  runMainQueue();
  EXPECT_EQ(runs, 3);
}

TEST(MainQueue, countsAStopForOneRunWhoeverComesToIt) {
  std::vector<int> order;
  const auto later = [&](int number) {
    DispatchQueue::main()->async([&, number] { order.push_back(number); });
  };
  stopMainQueue();
  later(1);
  drainMainQueue();
  later(2);
  runMainQueue();
  EXPECT_THAT(order, ElementsAre(1)) << "the stop came before";
  DispatchQueue::main()->async([&] {
    stopMainQueue();
    stopMainQueue();
    later(4);
    drainMainQueue();  // has both runs return
    runMainQueue();
    order.push_back(3);
  });
  runMainQueue();
  EXPECT_THAT(order, ElementsAre(1, 2, 4, 3));
}

TEST(MainQueue, runsWhatIsForTheEndOfADrainBeforeTheNextBlock) {
  std::vector<int> order;
  const auto add = [&](int number) { return [&order, number] { order.push_back(number); }; };
  DispatchQueue& queue = *DispatchQueue::main();
  queue.async([&] {
    detail::atEndOfMainQueueDrain([&] {
      order.push_back(3);
      detail::atEndOfMainQueueDrain(add(6));  // of the next one
    });
    queue.async(add(1));
    drainMainQueue();  // a part of this one
    queue.async(add(4));
    order.push_back(2);
  });
  drainMainQueue();
  EXPECT_THAT(order, ElementsAre(1, 2, 3));
  queue.async(add(5));
  drainMainQueue();
  EXPECT_THAT(order, ElementsAre(1, 2, 3, 4, 5, 6));

  std::jthread([&] { detail::atEndOfMainQueueDrain(add(7)); }).join();  // outside of any it has one come
  EXPECT_TRUE(isReadable(mainQueueFileDescriptor()));
  drainMainQueue();
  EXPECT_EQ(order.back(), 7);
}

TEST(DispatchQueueDeathTest, throwsWhereThereIsNoDescriptorForTheMainQueue) {
#if defined(__has_feature)
#if __has_feature(undefined_behavior_sanitizer)
  GTEST_SKIP() << "the sanitizer takes memory that it cannot look at, with a pipe, for no object";
#endif
#endif
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto opensLater = [] {
    rlimit before{}, none{};
    getrlimit(RLIMIT_NOFILE, &before);
    none.rlim_max = before.rlim_max;
    setrlimit(RLIMIT_NOFILE, &none);
    try {
      (void)mainQueueFileDescriptor();
      return false;
    } catch (const NSError& error) {
      setrlimit(RLIMIT_NOFILE, &before);
      return error.code() == EMFILE && mainQueueFileDescriptor() >= 0;
    }
  };
  EXPECT_EXIT(_exit(opensLater() ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

TEST(DispatchQueue, refusesEmptyBlocks) {
  const auto queue = DispatchQueue::serial("empty");
  const std::function<void()> none;
  const std::function<void()> calls[] = {[&] { queue->async(none); }, [&] { queue->after(1ms, none); },
                                         [&] { queue->sync(none); }, [&] { queue->schedule(none); },
                                         [&] { queue->async(static_cast<void (*)()>(nullptr)); }};
  for (const auto& call : calls) EXPECT_THAT(raisedBy(call), StartsWith("NSInvalidArgumentException"));
  queue->async([] {});
  settle(*queue);
}

TEST(DispatchQueueDeathTest, endsTheProcessForAnEscapedException) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const std::pair<std::shared_ptr<DispatchQueue>, const char*> cases[] = {
      {DispatchQueue::serial("mine"), "A block on the queue \"mine\" let out an exception: .*oh"},
      {DispatchQueue::global(), "A block in the background let out an exception: .*oh"},
  };
  for (const auto& [queue, message] : cases) {
    EXPECT_DEATH(
        {
          queue->async([] { throw std::runtime_error("oh"); });
          for (;;) std::this_thread::yield();
        },
        message);
  }
}

}  // namespace
}  // namespace QVFoundation
