#include "QVFoundation/platform/application/NSNotificationCenter.h"

#include <array>
#include <barrier>
#include <cstddef>
#include <memory>
#include <stdexcept>
#include <tuple>

#include <gtest/gtest.h>

#include "QVFoundation/platform/runtime/NSException.h"
#include "tests/platform/application/Schedulers.h"
#include "tests/platform/concurrency/OnThreads.h"

namespace QVFoundation {
namespace {

class Thing : public NSObject {};

/// Observers that write their letter into a log.
class NotificationCenter : public ::testing::Test {
protected:
  std::shared_ptr<NSObject> add(
      char letter, std::optional<std::string> name = "Ended",
      const std::shared_ptr<NSObject>& object = nullptr, std::function<void()> action = [] {}) {
    return center->addObserverForName(std::move(name), object, scheduler,
                                      [this, letter, action](const auto&) {
                                        log += letter;
                                        action();
                                      });
  }
  /// Who hears of it.
  std::string post(const std::string& name = "Ended", const std::shared_ptr<NSObject>& object = nullptr) {
    log.clear();
    if (const auto posting = center) posting->postNotificationName(name, object);
    return log;
  }

  std::string log;
  std::shared_ptr<Scheduler> scheduler;
  std::shared_ptr<NSNotificationCenter> center = std::make_shared<NSNotificationCenter>();
};

TEST_F(NotificationCenter, tellsThoseWhoAskedForTheNameAndTheObjectInTheOrderInWhichTheyCame) {
  const auto one = std::make_shared<Thing>(), other = std::make_shared<Thing>();
  (void)add('a', "Ended", one), (void)add('b', std::nullopt), (void)add('c'),
      (void)add('d', std::nullopt, one);
  (void)add('e', ""), (void)add('f', "Ended", one), (void)add('g', "Ended", other);
  const std::tuple<const char*, std::shared_ptr<NSObject>, const char*> cases[] = {{"Ended", one, "abcdf"},
                                                                                   {"Ended", other, "bcg"},
                                                                                   {"Ended", nullptr, "bc"},
                                                                                   {"", nullptr, "be"},
                                                                                   {"?", one, "bd"}};
  for (const auto& [name, object, want] : cases) EXPECT_EQ(post(name, object), want);
}

TEST_F(NotificationCenter, letsBlocksChangeAnythingFromInside) {
  std::array<std::shared_ptr<NSObject>, 4> tokens;
  const auto remove = [&](std::size_t which) {
    return [&, which] { center->removeObserver(tokens[which]); };
  };
  const struct {
    const char* row;
    std::function<void()> action;  // of "b", the first time
    const char *want, *wantNext;
  } cases[] = {{"removesItself", remove(1), "abc", "ac"},
               {"removesTheNext", remove(2), "ab", "ab"},
               {"removesThePrevious", remove(0), "abc", "bc"},
               {"adds", [&] { tokens[3] = add('d'); }, "abc", "abcd"},
               {"posts", [&] { center->postNotificationName("Ended"); }, "ababcc", "abc"},
               {"dropsTheTokens", [&] { tokens = {}; }, "abc", "abc"},
               {"dropsTheCentre", [&] { center.reset(); }, "ab", ""}};
  for (const auto& [row, action, want, wantNext] : cases) {
    center = std::make_shared<NSNotificationCenter>();
    auto next = action;
    tokens[0] = add('a');
    tokens[1] = add('b', "Ended", nullptr, [&] {
      if (const auto now = std::exchange(next, nullptr)) now();
    });
    tokens[2] = add('c');
    log.clear();
    NSNotificationCenter& posting = *center;  // held by `center` alone
    posting.postNotificationName("Ended");
    EXPECT_EQ(log, want) << row;
    EXPECT_EQ(post(), wantNext) << row;
  }
}

TEST_F(NotificationCenter, doesNothingWithWhatIsNoTokenOfItsOwn) {
  const auto token = add('a');
  NSNotificationCenter elsewhere;
  for (const auto& stranger : {token, std::shared_ptr<NSObject>(), std::shared_ptr<NSObject>(new Thing)})
    elsewhere.removeObserver(stranger);
  EXPECT_EQ(post(), "a");
  for (int i = 0; i < 2; ++i) center->removeObserver(token);
  EXPECT_EQ(post(), "");
  EXPECT_THROW((void)center->addObserverForName("Ended", nullptr, nullptr, {}), NSException);
}

TEST_F(NotificationCenter, takesNoObjectForAnotherThatLivedAtItsAddress) {
  alignas(Thing) std::array<std::byte, sizeof(Thing)> place{};
  const auto make = [&] { return std::shared_ptr<Thing>(new (&place) Thing, std::destroy_at<Thing>); };
  auto object = make();
  (void)add('a', "Ended", object);
  EXPECT_EQ(post("Ended", object), "a");
  object.reset();
  object = make();
  (void)add('b', "Ended", object);
  EXPECT_EQ(post("Ended", object), "b");
}

TEST_F(NotificationCenter, dropsScheduledWorkAndLetsGoOfABlockOutsideOfItsLock) {
  const auto held = std::make_shared<testing::HeldScheduler>();
  scheduler = held;
  const auto other = add('a');
  for (const bool byDroppingTheCentre : {false, true}) {
    NSNotificationCenter& mine = *center;
    bool isGone = false;
    auto captured = std::shared_ptr<void>(nullptr, [&](void*) {
      mine.postNotificationName("Ended");  // would wait for ever if the lock were held
      isGone = true;
    });
    const auto token = add('b', "Ended", nullptr, [captured = std::move(captured)] {});
    post();
    byDroppingTheCentre ? center.reset() : center->removeObserver(token);
    EXPECT_TRUE(isGone);
    EXPECT_EQ(held->runAll(), byDroppingTheCentre ? 2 : 3);
    EXPECT_EQ(log, byDroppingTheCentre ? "" : "aa");
  }
}

TEST_F(NotificationCenter, removesOnlyOnceTheBlockRunsOnNoOtherThread) {
  std::shared_ptr<NSObject> token;
  testing::ThreadsScheduler pool;
  const auto remove = [&] { center->removeObserver(token); };
  const std::tuple<const char*, std::shared_ptr<Scheduler>, std::function<void()>> cases[] = {
      {"directly", nullptr, remove},
      {"onAScheduler", testing::borrowed(pool), remove},
      {"byTwo", nullptr, [&] { testing::onThreads(2, [&](int) { remove(); }); }},
      {"withTheCentre", testing::borrowed(pool), [&] { center.reset(); }}};
  for (const auto& [row, where, removal] : cases) {
    scheduler = where;
    const auto start = [&](std::function<void()> block) {
      token = add('a', "Ended", nullptr, std::move(block));
      return [posting = center.get()] { posting->postNotificationName("Ended"); };
    };
    EXPECT_TRUE(testing::waitsForACall(start, removal)) << row;
  }
}

TEST_F(NotificationCenter, letsTwoThatRemoveEachOtherFromInsideGoOn) {
  for (int round = 0; round < 50; ++round) {
    std::array<std::shared_ptr<NSObject>, 2> tokens;
    std::barrier bothAreInside(2);
    for (std::size_t i = 0; i < 2; ++i) {
      tokens[i] = center->addObserverForName(std::to_string(i), nullptr, nullptr, [&, i](const auto&) {
        bothAreInside.arrive_and_wait();
        center->removeObserver(tokens[1 - i]);
      });
    }
    testing::onThreads(2, [&](int i) { center->postNotificationName(std::to_string(i)); });
    for (const char* name : {"0", "1"}) center->postNotificationName(name);  // would wait for the other
  }
}

TEST_F(NotificationCenter, endsTheProcessForAnExceptionThatLeavesABlock) {
  ::testing::GTEST_FLAG(death_test_style) = "threadsafe";
  for (const auto& where :
       {std::shared_ptr<Scheduler>(), std::shared_ptr<Scheduler>(new ImmediateScheduler)}) {
    scheduler = where;
    const auto token = add('a', std::nullopt, nullptr, [] { throw std::runtime_error("disk gone"); });
    EXPECT_DEATH(post("Track Ended"), "notification \"Track Ended\" let out .*disk gone");
    center->removeObserver(token);
  }
}

}  // namespace
}  // namespace QVFoundation
