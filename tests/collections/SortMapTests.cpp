#include <algorithm>
#include <deque>
#include <functional>
#include <numeric>
#include <random>
#include <ranges>

#include <gmock/gmock.h>

#include "QVFoundation/Collections.h"
#include "QVFoundation/Platform.h"
#include "tests/platform/runtime/RaisedException.h"
#include "tests/platform/runtime/SmallStack.h"

namespace QVFoundation {

struct Song : NSObject {
  explicit Song(Value its) : key(std::move(its)) {}
  const NSClass& dynamicClass() const override;
  [[nodiscard]] int orderTo(const std::shared_ptr<Song>& other) const {
    return compareValues(key, other->key);
  }

  Value key;
  mutable int reads = 0;
};

const NSClass& Song::dynamicClass() const {
  const auto readKey = [](const Song& song) {
    ++song.reads;
    return song.key;
  };
  static const NSClass& cls =
      *new NSClass(NSClass::define<Song>("Song", NSObject::staticClass()).readOnly("key", readKey));
  return cls;
}

namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using testing::raisedBy;
using ::testing::StartsWith;

int threeWay(int a, int b) { return a < b ? -1 : a > b ? 1 : 0; }

/// The sort, step by step as it is defined, with no regard for time and stack.
struct PlainSort {
  explicit PlainSort(std::vector<int> its) : elements(std::move(its)), positions(elements.size()) {
    std::iota(positions.begin(), positions.end(), std::size_t{0});
    sort(0, std::ssize(elements) - 1);
  }

  int compare(std::ptrdiff_t i, int pivot) {
    ++comparisons;
    return threeWay(elements.begin()[i], pivot);
  }
  void sort(std::ptrdiff_t low, std::ptrdiff_t high) {
    if (low >= high) return;
    const int pivot = elements.begin()[(low + high) / 2];
    std::ptrdiff_t i = low - 1, j = high + 1;
    for (;;) {
      do --j;
      while (j >= 0 && compare(j, pivot) == 1);
      do ++i;
      while (compare(i, pivot) == -1);
      if (i >= j) break;
      std::swap(elements.begin()[i], elements.begin()[j]);
      std::swap(positions.begin()[i], positions.begin()[j]);
    }
    sort(low, j);
    sort(j + 1, high);
  }

  std::vector<int> elements;
  std::vector<std::size_t> positions;
  std::size_t comparisons = 0;
};

struct Shape {
  const char* row;
  bool defeatsTheMiddlePivot;
  int (*elementAt)(int i, int count);
};
const Shape shapes[] = {
    {"random", false, [](int i, int) { return static_cast<int>(i * 7'919'777'777 % 1'000'003); }},
    {"sorted", false, [](int i, int) { return i; }},
    {"reversed", false, [](int i, int) { return -i; }},
    {"allEqual", false, [](int, int) { return 7; }},
    {"sawtooth", false, [](int i, int) { return i % 16; }},
    {"organPipe", true, [](int i, int count) { return std::min(i, count - 1 - i); }},
    {"interleavingHalves", true, [](int i, int count) { return i < count / 2 ? 2 * i : 2 * i - count + 1; }},
};

std::vector<int> elementsOf(const Shape& shape, int count) {
  std::vector<int> elements;
  elements.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) elements.push_back(shape.elementAt(i, count));
  return elements;
}

/// Decides what the elements are worth while they are compared, so that each pivot turns out to be among the
/// least of them (M. D. McIlroy, "A Killer Adversary for Quicksort", 1999).
std::vector<int> elementsThatDefeatTheSort(int count) {
  std::vector<int> worth(static_cast<std::size_t>(count), count);
  int next = 0;
  std::size_t candidate = 0;
  const auto compare = [&](std::size_t a, std::size_t b) {
    if (worth[a] == count && worth[b] == count) worth[a == candidate ? a : b] = next++;
    if (worth[a] == count) candidate = a;
    if (worth[b] == count) candidate = b;
    return threeWay(worth[a], worth[b]);
  };
  (void)sortMapUsingSelector(std::views::iota(std::size_t{0}, worth.size()), compare);
  return worth;
}

/// Returns the number of comparisons.
std::size_t expectAsDefined(const std::vector<int>& elements, const std::string& row) {
  const PlainSort plain(elements);
  std::size_t comparisons = 0;
  const QVIndexMap map = sortMapUsingSelector(elements, [&](int a, int b) {
    ++comparisons;
    return threeWay(a, b);
  });
  EXPECT_THAT(map, ::testing::ElementsAreArray(plain.positions)) << row;
  EXPECT_EQ(comparisons, plain.comparisons) << row;
  const std::vector<Value> values(elements.begin(), elements.end());
  EXPECT_EQ(detail::sortMapOfKeys(values, ""), map) << row << ": typed keys";
  EXPECT_EQ(sortMapUsingSelector(values, compareValues), map) << row << ": values";
  return comparisons;
}

TEST(SortMap, isThatOfTheSortAsItIsDefined) {
  constexpr std::size_t count = 2048;
  for (const Shape& shape : shapes) {
    const auto comparisons = expectAsDefined(elementsOf(shape, count), shape.row);
    const std::size_t limit = shape.defeatsTheMiddlePivot ? count * count / 8 : count * 11 * 3;
    EXPECT_EQ(comparisons > limit, shape.defeatsTheMiddlePivot) << shape.row << ": " << comparisons;
  }
  expectAsDefined(elementsThatDefeatTheSort(1000), "killer");
  std::mt19937 random(7);
  for (int round = 0; round < 1000; ++round) {
    std::vector<int> elements(random() % 12);
    for (int& element : elements) element = static_cast<int>(random() % 4);
    expectAsDefined(elements, "round " + std::to_string(round));
  }
}

TEST(SortMap, doesNotExhaustTheStackOnTheOrdersThatDefeatIt) {
  testing::onSmallStack([] {
    const auto elements = elementsThatDefeatTheSort(10'000);
    const auto sorted = arrayByApplyingMap(elements, sortMapUsingSelector(elements, threeWay));
    EXPECT_TRUE(std::is_sorted(sorted.begin(), sorted.end()));
  });
}

TEST(SortMap, survivesComparisonsThatContradictThemselves) {
  std::mt19937 random(5);
  const std::pair<const char*, std::function<int(int, int)>> cases[] = {
      {"alwaysLess", [](int, int) { return -1; }},
      {"alwaysGreater", [](int, int) { return 1; }},
      {"neverTheSame", [](int a, int b) { return a < b ? -1 : 1; }},
      {"random", [&](int, int) { return static_cast<int>(random() % 3) - 1; }},
      {"circular", [](int a, int b) { return (a - b + 3) % 3 == 2 ? -1 : (a - b + 3) % 3; }},
  };
  for (const auto& [row, compare] : cases) {
    for (const int count : {2, 3, 10, 500}) {
      const auto map = sortMapUsingSelector(elementsOf(shapes[0], count), compare);
      EXPECT_NO_THROW((void)map.inverseMap()) << row << ": still a permutation";
    }
  }
  const auto failing = [](int, int) -> int { throw NSException(NSGenericException, "no order"); };
  EXPECT_THAT(raisedBy([&] { (void)sortMapUsingSelector(std::vector{1, 2}, failing); }),
              EndsWith("no order"));
}

TEST(SortMap, takesComparisonsAndRangesOfManyKinds) {
  const std::vector<std::string> names{"c", "a", "b"};
  const std::deque songs{std::make_shared<Song>(3), std::make_shared<Song>(1), std::make_shared<Song>(2)};
  const auto spaceship = [](const auto& a, const auto& b) { return a <=> b; };
  const auto turned = [](const auto& a, const auto& b, int sign) { return sign * a.compare(b); };
  EXPECT_THAT(sortMapUsingSelector(names, turned, -1), ElementsAre(0, 2, 1));
  EXPECT_THAT(sortMapUsingSelector(songs, &Song::orderTo), ElementsAre(1, 2, 0));
  EXPECT_THAT(sortMapUsingSelector(std::vector{true, false}, spaceship), ElementsAre(1, 0));
  const auto made =
      names | std::views::transform([](const auto& name) { return name + std::string(50, 'x'); });
  EXPECT_THAT(sortMapUsingSelector(made, spaceship), ElementsAre(1, 2, 0)) << "elements that nobody keeps";
  const auto less = [](const auto& a, const auto& b) { return a < b; };
  static_assert(!detail::Comparison<decltype(less), std::vector<int>>, "an answer of yes or no is refused");
  const auto byKey = [](const auto& a, const auto& b, std::string_view path) { return -compare(a, b, path); };
  EXPECT_THAT(sortMapUsingKeyPath(songs, "key", byKey), ElementsAre(0, 2, 1));
}

TEST(SortMap, byKeyPathOrdersEverySortOfKey) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  const NSDate epoch;
  const Array ascending[] = {
      {INT64_MIN, -1, true, 2U, 3, INT64_MAX},
      {-1, 1, UINT64_MAX - 1, UINT64_MAX},
      {nan, -infinity, -0.5, -1e-310, 1e-310, 0.5, 2.5F, infinity},
      {nan, -3, 1.5, 2, 2.5, UINT64_MAX},
      {nullptr, NSNull{}, 1, 3, 5},
      {epoch - std::chrono::hours(1), epoch, epoch + std::chrono::hours(1)},
      {"", "a", std::string_view("a\0", 2), "ab", "abcdefgg", "abcdefgh", "abcdefghi", "b", "é"},
  };
  for (const Array& keys : ascending) {
    std::vector<Value> shuffled(keys.begin(), keys.end());
    std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(3));
    std::vector<std::shared_ptr<Song>> songs;
    songs.reserve(shuffled.size());
    for (const Value& key : shuffled) songs.push_back(std::make_shared<Song>(key));
    const QVIndexMap map = sortMapUsingKeyPath(songs, "key");
    EXPECT_EQ(arrayByApplyingMap(shuffled, map), keys);
    EXPECT_EQ(map, sortMapUsingSelector(shuffled, compareValues)) << "as the values themselves are sorted";
    for (const auto& song : songs) EXPECT_EQ(song->reads, 1);
    const auto descending = [](const Value& a, const Value& b) { return -compareValues(a, b); };
    EXPECT_EQ(sortMapUsingSortDescriptors(songs, {{"key", false}}),
              sortMapUsingSelector(shuffled, descending));
    const auto sorted = qv_sortedArrayUsingKeyPath(songs, "key");
    EXPECT_TRUE(
        std::ranges::equal(sorted, keys, {}, [](const auto& song) { return song->valueForKey("key"); }));
  }
  EXPECT_EQ(detail::sortMapOfKeys({0.0, -0.0, 0.0, -0.0}, "key"), detail::sortMapOfKeys({1, 1, 1, 1}, "key"))
      << "one zero";
  const auto unordered = std::vector{std::make_shared<Song>(2), std::make_shared<Song>("x")};
  const auto says = AllOf(StartsWith("NSInvalidArgumentException: "), EndsWith(" under \"key\""));
  EXPECT_THAT(raisedBy([&] { (void)sortMapUsingKeyPath(unordered, "key"); }), says);
  EXPECT_THAT(raisedBy([&] { (void)sortMapUsingSortDescriptors(unordered, {{"key"}, {"key"}}); }), says);
  EXPECT_THAT(raisedBy([&] { (void)qv_sortedArrayUsingKeyPath(unordered, "key"); }), says);
  const Array single{unordered[0]};
  EXPECT_THAT(sortMapUsingKeyPath(single, "tempo"), ElementsAre(0)) << "there is nothing to compare";
  EXPECT_EQ(qv_sortedArrayUsingKeyPath(single, "tempo"), single);
}

TEST(SortMap, byDescriptorsLetsEachDecideWhatThoseBeforeLeaveOpen) {
  const auto row = [](const char* name, int size) { return Dictionary{{"name", name}, {"size", size}}; };
  const Array rows{row("b", 1), row("a", 1), row("b", 3), row("a", 2)};
  const auto byParity = [](const Value& a, const Value& b) { return *a.as<int>() % 2 - *b.as<int>() % 2; };
  const std::pair<std::vector<NSSortDescriptor>, QVIndexMap> cases[] = {
      {{{"name"}, {"size"}}, {1, 3, 0, 2}},
      {{{"name", false}, {"size"}}, {0, 2, 1, 3}},
      {{{"size", false, byParity}, {"name"}, {"size"}}, {1, 0, 2, 3}},
      {{}, detail::sortMapOfKeys({0, 0, 0, 0}, "")},
  };
  const auto comparison = [](const auto& a, const auto& b, const auto& list) { return compare(a, b, list); };
  for (const auto& [descriptors, want] : cases) {
    EXPECT_EQ(sortMapUsingSortDescriptors(rows, descriptors), want);
    EXPECT_EQ(sortMapUsingSelector(rows, comparison, descriptors), want) << "asked one by one";
  }
}

}  // namespace
}  // namespace QVFoundation
