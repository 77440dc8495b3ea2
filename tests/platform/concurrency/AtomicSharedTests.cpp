#include "QVFoundation/platform/concurrency/AtomicShared.h"

#include <atomic>
#include <memory>
#include <utility>

#include "gtest/gtest.h"
#include "tests/platform/concurrency/OnThreads.h"

namespace QVFoundation {
namespace {

TEST(AtomicShared, storesOnlyWhereTheExpectedPointerStillIs) {
  const auto first = std::make_shared<int>(1);
  const auto second = std::make_shared<int>(1);  // an equal content is no equal pointer
  AtomicShared<int> slot(first);

  auto expected = second;
  EXPECT_FALSE(slot.compareExchange(expected, second));
  EXPECT_EQ(expected, first);
  EXPECT_TRUE(slot.holds(first));

  EXPECT_TRUE(slot.compareExchange(expected, second));
  EXPECT_TRUE(slot.holds(second));
  EXPECT_EQ(slot.exchange(nullptr), second);
  EXPECT_EQ(slot.load(), nullptr);
  EXPECT_EQ(first.use_count(), 2);  // `first` and `expected`
  EXPECT_EQ(second.use_count(), 1);
}

/// Asks the slot that it was in when it is destroyed, which would wait for ever if the lock were held.
struct Asking {
  explicit Asking(AtomicShared<Asking>& its) : slot(its) {}
  Asking(const Asking&) = delete;
  Asking& operator=(const Asking&) = delete;
  ~Asking() { (void)slot.load(); }

  AtomicShared<Asking>& slot;
};

TEST(AtomicShared, destroysNothingUnderItsLock) {
  AtomicShared<Asking> slot;
  const auto fresh = [&] { return std::make_shared<Asking>(slot); };
  slot.store(fresh());
  slot.store(fresh());
  (void)slot.exchange(fresh());

  auto expected = fresh();
  EXPECT_FALSE(slot.compareExchange(expected, fresh()));  // lets go of both
  EXPECT_TRUE(slot.compareExchange(expected, fresh()));
  expected.reset();
  slot.store(nullptr);
}

struct Counted {
  explicit Counted(int count) : value(count) { ++alive; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
  ~Counted() { --alive; }

  const int value;
  static inline std::atomic<int> alive{0};
};

TEST(AtomicShared, losesNoChangeOfSeveralThreads) {
  constexpr int rounds = 5'000;
  AtomicShared<const Counted> slot(std::make_shared<const Counted>(0));
  testing::onThreads(4, [&](int) {
    int seen = 0;
    for (int i = 0; i < rounds; ++i) {
      auto current = slot.load();
      while (!slot.compareExchange(current, std::make_shared<const Counted>(current->value + 1))) {
        EXPECT_GT(current->value, seen);
      }
      EXPECT_GE(std::exchange(seen, slot.load()->value), i);
    }
  });
  EXPECT_EQ(slot.load()->value, 4 * rounds);
  EXPECT_EQ(Counted::alive, 1);
}

}  // namespace
}  // namespace QVFoundation
