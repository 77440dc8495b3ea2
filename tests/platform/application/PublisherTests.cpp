#include "QVFoundation/platform/application/Publisher.h"

#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <semaphore>
#include <string>
#include <string_view>
#include <thread>
#include <tuple>
#include <utility>

#include <gtest/gtest.h>

#include "QVFoundation/platform/application/CancellableBag.h"
#include "QVFoundation/platform/application/CurrentValueSubject.h"
#include "QVFoundation/platform/application/NotificationPublisher.h"
#include "QVFoundation/platform/application/PassthroughSubject.h"
#include "tests/platform/application/Schedulers.h"
#include "tests/platform/concurrency/OnThreads.h"

namespace QVFoundation {
namespace {

using testing::borrowed;

/// Writes the digits that arrive, and how it ends, into a text. The action follows each.
Cancellable logging(const Publisher<int>& publisher, std::string& log, std::function<void()> action = [] {}) {
  return publisher.sink(
      [&log, action](int value) { log += std::to_string(value), action(); },
      [&log, action](const Completion& end) { log += end.isFinished() ? '.' : 'x', action(); });
}

/// A digit sends it, '.' finishes, 'x' fails.
void send(char step, const std::function<void(int)>& value,
          const std::function<void(Completion)>& completion) {
  if (step == '.') return completion(Completion::finished());
  if (step == 'x') return completion(Completion::failed(NSError("PlayerErrorDomain", 7)));
  value(step - '0');
}

struct RuleCase {
  const char *row, *script, *want, *wantOfCurrent;  // 's' subscribes once more, 'c' cancels all
};
constexpr RuleCase rules[] = {
    {"valuesThenTheEnd", "1s23.", "23.", "123."},       {"nothingAfterTheEnd", "s1.2.x", "1.", "01."},
    {"theLateGetAFailureAlone", "s1xs", "1xx", "01xx"}, {"nothingAfterCancel", "s1c2.", "1", "01"},
    {"againAfterCancel", "s1c2s3", "13", "0123"},       {"eachOfTwo", "s1s2", "122", "01122"}};

template <class Subject>
std::string run(Subject& subject, const Publisher<int>& publisher, std::string_view script,
                testing::HeldScheduler& held) {
  std::string log;
  CancellableBag bag;
  for (const char step : script) {
    if (step == 's') {
      logging(publisher, log).store(bag);
    } else if (step == 'c') {
      bag.removeAll();
    } else {
      send(step, [&](int value) { subject.send(value); }, [&](const auto& end) { subject.send(end); });
    }
    held.runAll();
  }
  return log;
}

TEST(Publisher, keepsTheRulesOfCompletionThroughEachStage) {
  const auto held = std::make_shared<testing::HeldScheduler>();
  const std::pair<const char*, std::function<Publisher<int>(const Publisher<int>&)>> stages[] = {
      {"plain", [](const auto& source) { return source.receiveOn(nullptr); }},
      {"mapped", [](const auto& source) { return source.map(std::negate()).map(std::negate()); }},
      {"held", [&](const auto& source) { return source.receiveOn(held).receiveOn(held); }}};
  for (const auto& [stage, through] : stages) {
    for (const auto& [row, script, want, wantOfCurrent] : rules) {
      PassthroughSubject<int> passing;
      EXPECT_EQ(run(passing, through(passing.publisher()), script, *held), want) << stage << row;
      CurrentValueSubject current(0);
      EXPECT_EQ(run(current, through(current.publisher()), script, *held), wantOfCurrent) << stage << row;
    }
  }
}

TEST(Publisher, dropsWhatAnUnrulySourceSendsAndStopsItOnce) {
  const struct {
    const char *atOnce, *later, *want;
    bool isOver;
  } cases[] = {
      {"", "1.2", "1.", true}, {"", "x.", "x", true}, {"1.", "2", "1.", true}, {"1", "2", "12", false}};
  for (const auto& [atOnce, later, want, isOver] : cases) {
    std::optional<Subscriber<int>> kept;
    int stopped = 0;
    std::string log;
    const auto sendAll = [&](std::string_view script) {
      for (const char step : script)
        send(step, [&](int value) { kept->receive(value); }, [&](const auto& end) { kept->receive(end); });
    };
    const Publisher<int> unruly([&, now = atOnce](const Subscriber<int>& subscriber) {
      kept = subscriber;
      sendAll(now);
      return Cancellable([&] { ++stopped; });
    });
    auto subscription = logging(unruly, log, [&] {
      if (log.back() == '.' || log.back() == 'x') sendAll("3.x");
    });
    sendAll(later);
    EXPECT_EQ(stopped, isOver) << want;
    subscription = {};
    sendAll("4.");
    EXPECT_EQ(log, want);
    EXPECT_EQ(stopped, 1) << want;
  }
}

TEST(Publisher, deliversOneAtATimeWhateverItsSchedulerDoesMeanwhile) {
  const auto held = std::make_shared<testing::HeldScheduler>();
  PassthroughSubject<int> subject;
  std::string log;
  const auto subscription = logging(subject.publisher().receiveOn(held), log, [&] {
    if (log == "1") subject.send(2);
    held->runAll();
    log += '|';
  });
  subject.send(1);
  held->runAll();
  EXPECT_EQ(log, "1|2|");
}

/// Two subscribers of one subject, of which the first does something from inside its first value.
TEST(PassthroughSubject, letsSubscribersDoAnythingFromInside) {
  std::unique_ptr<PassthroughSubject<int>> subject;
  std::unique_ptr<CancellableBag> bag;
  Cancellable first, second;
  std::string log, otherLog, laterLog;
  const struct {
    const char* row;
    std::function<void()> action;
    const char *want, *wantOfOther, *wantOfLater;
  } cases[] = {
      {"sends", [&] { subject->send(2), subject->send(3); }, "1239.", "1239.", ""},
      {"finishes", [&] { subject->send(Completion::finished()), subject->send(2); }, "1.", "1.", ""},
      {"subscribes", [&] { logging(subject->publisher(), laterLog).store(*bag); }, "19.", "19.", "9."},
      {"replacesItself", [&] { first = logging(subject->publisher(), laterLog); }, "1", "19.", "9."},
      {"cancelsTheOther", [&] { second.cancel(); }, "19.", "", ""},
      {"dropsTheBagThatHoldsIt", [&] { std::move(first).store(*bag), bag.reset(); }, "1", "19.", ""},
      {"dropsTheSubject", [&] { subject->send(2), subject.reset(); }, "12", "12", ""},
  };
  for (const auto& [row, action, want, wantOfOther, wantOfLater] : cases) {
    for (auto* text : {&log, &otherLog, &laterLog}) text->clear();
    subject = std::make_unique<PassthroughSubject<int>>();
    bag = std::make_unique<CancellableBag>();
    auto next = action;
    first = logging(subject->publisher(), log, [&] {
      if (const auto now = std::exchange(next, nullptr)) now();
    });
    second = logging(subject->publisher(), otherLog);
    subject->send(1);
    if (subject) subject->send(9), subject->send(Completion::finished());
    EXPECT_EQ(std::tie(log, otherLog, laterLog), std::tuple(want, wantOfOther, wantOfLater)) << row;
  }
}

TEST(CurrentValueSubject, givesASubscriberFromInsideEachValueOnceAndInOrder) {
  CurrentValueSubject current(0);
  std::string log, laterLog;
  Cancellable later;
  const auto first = logging(current.publisher(), log, [&] {
    if (log != "01") return;
    current.send(2);
    EXPECT_EQ(current.value(), 2);
    later = logging(current.publisher(), laterLog);
    current.send(3);
  });
  current.send(1);
  EXPECT_EQ(log + laterLog, "012323");
}

TEST(CancellableBag, cancelsEachOnceInOrderOutsideOfItsLock) {
  std::string log;
  CancellableBag bag;
  const auto writing = [&log](char letter) { return Cancellable([&log, letter] { log += letter; }); };
  auto replaced = writing('-');
  replaced = writing('a');
  std::move(replaced).store(bag);
  Cancellable([&] { bag.removeAll(), writing('c').store(bag); }).store(bag);
  writing('b').store(bag);
  for (const char* want : {"-ab", "-abc"}) {
    bag.removeAll();
    EXPECT_EQ(log, want);
  }
}

TEST(Cancellable, waitsForOtherThreads) {
  testing::ThreadsScheduler pool;
  for (const auto& scheduler : {std::shared_ptr<Scheduler>(), borrowed(pool)}) {
    PassthroughSubject<int> subject;
    Cancellable subscription;
    const auto start = [&](std::function<void()> block) {
      subscription = subject.publisher().receiveOn(scheduler).sink([block](int) { block(); });
      return [&] { subject.send(1), subject.send(2); };
    };
    EXPECT_TRUE(testing::waitsForACall(start, [&] { subscription = {}; }));
  }
}

/// What one subscription sees, checked against the rules while threads do as they like.
struct Witness {
  void value(int value) {
    faults += (inside++ != 0 && isSerial) || isOver;
    faults += value <= std::exchange(last[static_cast<std::size_t>(value % 2)], value);
    --inside;
  }
  void completion() { faults += inside != 0 || isOver.exchange(true); }

  std::atomic<int>& faults;
  const bool isSerial;
  std::atomic<int> inside{0};
  std::atomic<bool> isOver{false};
  std::array<int, 2> last{-1, -1};  // of each sender
};

int faultsUnderFire(const Publisher<int>& publisher, const std::function<void(int)>& send,
                    const std::function<void()>& finish, bool isSerial) {
  constexpr int count = 4'000;
  std::atomic<int> faults = 0, working = 2;
  Witness constant{faults, isSerial};
  std::binary_semaphore isFinished{0};
  const auto watching = publisher.sink([&](int value) { constant.value(value); },
                                       [&](const auto&) { constant.completion(), isFinished.release(); });
  testing::onThreads(4, [&](int thread) {
    for (int i = 2 + thread; thread < 2 && i < count; i += 2) send(i);
    if (thread < 2 && --working == 0) finish();
    while (thread >= 2 && working > 0) {
      const auto witness = std::make_shared<Witness>(faults, isSerial);
      auto subscription = publisher.sink([witness](int value) { witness->value(value); },
                                         [witness](const auto&) { witness->completion(); });
      std::this_thread::yield();
      subscription.cancel();
      faults += witness->inside;
      witness->isOver = true;
    }
  });
  if (isSerial) isFinished.acquire();
  return faults + (constant.last != std::array{count - 2, count - 1});
}

TEST(Publisher, keepsTheRulesWhileThreadsSendSubscribeAndCancel) {
  testing::ThreadsScheduler pool;
  for (const auto& scheduler : {std::shared_ptr<Scheduler>(), borrowed(pool)}) {
    const auto faultsOf = [&](auto&& subject) {
      return faultsUnderFire(
          subject.publisher().receiveOn(scheduler), [&](int value) { subject.send(value); },
          [&] { subject.send(Completion::finished()), subject.send(1); }, true);
    };
    EXPECT_EQ(faultsOf(PassthroughSubject<int>()), 0);
    EXPECT_EQ(faultsOf(CurrentValueSubject(0)), 0);
  }
  const auto center = std::make_shared<NSNotificationCenter>();
  const auto numbers = publisherForName(center, "Number").map([](const NSNotification& notification) {
    return notification.userInfo()["number"].as<int>().value_or(-1);
  });
  const auto post = [&](int number) {
    center->postNotificationName("Number", nullptr, {{"number", number}});
  };
  EXPECT_EQ(faultsUnderFire(numbers, post, [] {}, false), 0);
}

TEST(NotificationPublisher, givesNotificationsUntilCancelledAndKeepsNothingAlive) {
  const auto center = std::make_shared<NSNotificationCenter>();
  std::string log;
  const auto subscribe = [&](std::function<void()> action) {
    return publisherForName(center, std::nullopt)
        .map(&NSNotification::name)
        .sink([&log, action](const auto& name) {
          log += name;
          action();
        });
  };
  Cancellable second;
  const auto first = subscribe([&] { second = {}; });
  second = subscribe([] {});
  for (const char* name : {"a", "b"}) center->postNotificationName(name);
  EXPECT_EQ(log, "ab");
  EXPECT_EQ(center.use_count(), 1);
}

}  // namespace
}  // namespace QVFoundation
