#include <atomic>
#include <forward_list>
#include <latch>
#include <sstream>

#include <gmock/gmock.h>

#include "QVFoundation/Collections.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "tests/platform/concurrency/OnThreads.h"
#include "tests/platform/runtime/RaisedException.h"

namespace QVFoundation {
namespace {

using ::testing::ElementsAre;
using testing::raisedBy;
using ::testing::StartsWith;

TEST(LazyArray, makesEachElementOnceOnWhateverThread) {
  std::array<std::atomic<int>, 100> calls{};
  const QVLazyArray<int> array(calls.size(), [&](std::size_t index) { return ++calls[index]; });
  testing::onThreads(4, [&](int thread) {
    for (std::size_t i = 0; i < array.size(); ++i) {
      EXPECT_EQ(array[thread % 2 == 0 ? i : array.size() - 1 - i], 1);
    }
  });
}

TEST(LazyArray, letsOthersWaitForAnElementThatIsBeingMade) {
  std::latch isMaking(1), mayEnd(1);
  const QVLazyArray<int> array(2, [&](std::size_t index) {
    if (index == 1) return 10;
    isMaking.count_down();
    mayEnd.wait();
    return 20;
  });
  std::jthread first([&] { EXPECT_EQ(array[0], 20); });
  isMaking.wait();
  EXPECT_FALSE(array.isFilled(0));
  EXPECT_EQ(array[1], 10) << "one that is being made keeps nobody from another";
  std::jthread second([&] { EXPECT_EQ(array[0], 20); });
  mayEnd.count_down();
}

TEST(LazyArray, letsWhoWaitsTakeOverWhenTheMakerFails) {
  std::latch isMaking(1), mayFail(1);
  std::atomic<int> calls = 0;
  const QVLazyArray<int> array(1, [&](std::size_t) {
    if (++calls > 1) return 7;
    isMaking.count_down();
    mayFail.wait();
    throw std::runtime_error("failed");
  });
  std::jthread maker([&] { EXPECT_THROW((void)array[0], std::runtime_error); });
  isMaking.wait();
  std::jthread waiting[] = {std::jthread([&] { EXPECT_EQ(array[0], 7); }),
                            std::jthread([&] { EXPECT_EQ(array[0], 7); })};
  std::this_thread::yield();
  mayFail.count_down();
  for (auto& thread : waiting) thread.join();
  EXPECT_EQ(calls, 2);
}

TEST(LazyArray, triesAgainAfterAFailureAndRefusesWhatCannotBe) {
  int calls = 0;
  QVLazyArray<int>* self = nullptr;
  QVLazyArray<int> array(3, [&](std::size_t index) -> int {
    if (index == 0) return (*self)[0];
    if (index == 2) return (*self)[1] + 1;
    if (++calls == 1) throw std::runtime_error("not yet");
    return 7;
  });
  self = &array;
  EXPECT_THROW((void)array[2], std::runtime_error);
  EXPECT_FALSE(array.isFilled(1) || array.isFilled(2));
  EXPECT_EQ(array[2], 8);
  EXPECT_TRUE(array.isFilled(1) && calls == 2);
  for (int i = 0; i < 2; ++i) {
    EXPECT_THAT(raisedBy([&] { (void)array[0]; }), StartsWith(NSInternalInconsistencyException));
  }
  EXPECT_THAT(raisedBy([&] { (void)array[3]; }), StartsWith("NSRangeException: Index 3 is beyond"));
}

TEST(LazyArray, isAListOfRandomAccess) {
  int calls = 0;
  const QVLazyArray<int> squares(100, [&](std::size_t index) {
    ++calls;
    return static_cast<int>(index * index);
  });
  static_assert(std::random_access_iterator<QVLazyArray<int>::iterator>);
  EXPECT_EQ(std::ranges::lower_bound(squares, 50) - squares.begin(), 8);
  EXPECT_LT(calls, 8) << "no more than it looks at";
  EXPECT_THAT(arrayByApplyingMap(squares, {7, 0}), ElementsAre(49, 0));
}

template <class Range>
std::vector<std::vector<int>> batchesOf(Range&& range, std::size_t size) {
  std::vector<std::vector<int>> all;
  for (const auto& batch : qv_batches(std::forward<Range>(range), size)) {
    all.emplace_back();
    for (const int element : batch) all.back().push_back(element);
  }
  return all;
}

TEST(Batches, cutAnyRangeAlike) {
  for (const int count : {0, 1, 2, 3, 4, 6, 7}) {
    std::string text;
    for (int i = 0; i < count; ++i) text += std::to_string(i) + ' ';
    for (const std::size_t size : {std::size_t{1}, std::size_t{3}, SIZE_MAX}) {
      std::vector<std::vector<int>> want;
      for (int i = 0; i < count; ++i) {
        if (i == 0 || want.back().size() == size) want.emplace_back();
        want.back().push_back(i);
      }
      std::istringstream stream(text);
      const std::vector<int> list(std::views::iota(0, count).begin(), std::views::iota(0, count).end());
      EXPECT_EQ(batchesOf(list, size), want);
      EXPECT_EQ(batchesOf(std::forward_list<int>(list.begin(), list.end()), size), want);
      EXPECT_EQ(batchesOf(std::views::istream<int>(stream), size), want);
      EXPECT_EQ(batchesOf(std::views::iota(0, count) | std::views::filter([](int) { return true; }), size),
                want);
    }
  }
  EXPECT_THAT(raisedBy([] { batchesOf(std::vector{1}, 0); }), StartsWith(NSInvalidArgumentException));
}

TEST(Batches, readNoFurtherThanTheyAreLongAndArePartsOfAList) {
  std::istringstream stream("1 2 3 4 5");
  auto batches = qv_batches(std::views::istream<int>(stream), 2);
  EXPECT_THAT(*batches.begin(), ElementsAre(1, 2));
  int next = 0;
  stream >> next;
  EXPECT_EQ(next, 3);
  std::vector<int> list = {1, 2, 3};
  for (const auto& batch : qv_batches(list, 2)) batch.front() *= 10;
  EXPECT_THAT(list, ElementsAre(10, 2, 30));
}

TEST(SelectionCount, sumsUpWhatIsSelected) {
  using enum QVSelectionCount::Extent;
  using enum QVSelectionCount::CheckState;
  const struct {
    std::size_t selected, total;
    QVSelectionCount::Extent extent;
    QVSelectionCount::CheckState state;
    const char* text;
  } cases[] = {
      {0, 0, none, off, "none of 0"}, {0, 5, none, off, "none of 5"},   {1, 1, all, on, "all of 1"},
      {1, 5, one, mixed, "1 of 5"},   {4, 5, several, mixed, "4 of 5"}, {5, 5, all, on, "all of 5"},
  };
  for (const auto& [selected, total, extent, state, text] : cases) {
    const QVSelectionCount count(selected, total);
    EXPECT_TRUE(count.extent() == extent && count.checkState() == state) << text;
    EXPECT_EQ(count.description(), text);
    const auto isSelected = [limit = selected](std::size_t i) { return i < limit; };
    EXPECT_EQ(QVSelectionCount::of(std::views::iota(std::size_t{0}, total), isSelected), count);
  }
  QVSelectionCount sum(1, 2);
  sum += QVSelectionCount(0, 3);
  EXPECT_EQ(sum, QVSelectionCount(1, 5));
  EXPECT_THAT(raisedBy([] { (void)QVSelectionCount(3, 2); }),
              StartsWith("NSInvalidArgumentException: 3 cannot"));
}

}  // namespace
}  // namespace QVFoundation
