#include <array>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "QVFoundation/operations/TimerTable_p.h"
#include "QVFoundation/platform/text/Format.h"

namespace QVFoundation {
namespace {

using detail::TimerTable;
using std::chrono::milliseconds;

/// What is done to a table, at which millisecond. "A" and "alsoA" are one text at two places.
enum class Act { start, end, add };
struct Step {
  Act act;
  QVTimingName name;
  int milliseconds;
};
constexpr auto start = Act::start;
constexpr auto end = Act::end;
constexpr auto add = Act::add;
constexpr char textOfA[] = "A";
constexpr char otherTextOfA[] = {'A', '\0', 'B'};
constexpr QVTimingName A{textOfA};
constexpr QVTimingName alsoA{otherTextOfA};
constexpr QVTimingName B{"B"};

/// Answers whether something changed.
bool apply(TimerTable& table, const Step& step) {
  const milliseconds time(step.milliseconds);
  switch (step.act) {
    case start: table.start(step.name, TimerTable::Instant(time)); return true;
    case end: return table.end(step.name, TimerTable::Instant(time));
    case add: table.add({.name = step.name, .elapsed = time}); return true;
  }
  return false;
}

/// "A=1500 B=20"
std::string totalsOf(const TimerTable& table) {
  std::string text;
  for (const auto& [name, elapsed] : table.totals()) {
    EXPECT_EQ(table.elapsed(name), elapsed);
    text += stringWithFormat("%s%@=%.0f", text.empty() ? "" : " ", name, elapsed.count() * 1000);
  }
  return text;
}

TEST(TimerTable, sumsUpTheIntervalsOfEachName) {
  const struct {
    const char* row;
    std::vector<Step> steps;
    std::string totals;
  } cases[] = {
      {"nothing", {}, ""},
      {"only running", {{start, A, 0}}, ""},
      {"two intervals", {{start, A, 100}, {end, A, 350}, {start, A, 1'000}, {end, A, 1'001}}, "A=251"},
      {"restarted", {{start, A, 0}, {start, A, 900}, {end, A, 1'000}}, "A=100"},
      {"restarted after an interval", {{start, A, 0}, {end, A, 10}, {start, A, 20}, {start, A, 50}}, "A=10"},
      {"one text at two places", {{start, A, 0}, {end, alsoA, 10}, {start, alsoA, 20}, {end, A, 50}}, "A=40"},
      {"overlapping", {{start, B, 0}, {start, A, 10}, {end, B, 20}, {end, A, 50}}, "A=40 B=20"},
      {"added to one that never ran", {{add, A, 1'500}}, "A=1500"},
      {"added while it runs", {{start, A, 0}, {add, alsoA, 1'000}, {end, A, 10}}, "A=1010"},
      {"nothing added", {{add, A, 0}}, "A=0"},
      {"backwards, which is not rounded up", {{start, A, 100}, {end, A, 40}}, "A=-60"},
  };
  for (const auto& c : cases) {
    TimerTable table;
    for (const Step& step : c.steps) EXPECT_TRUE(apply(table, step)) << c.row;
    EXPECT_EQ(totalsOf(table), c.totals) << c.row;
  }
}

TEST(TimerTable, takesNoNoticeOfAnEndWithoutAStart) {
  TimerTable table;
  EXPECT_FALSE(apply(table, {end, A, 10}));
  apply(table, {add, A, 5});
  EXPECT_FALSE(apply(table, {end, A, 10}));
  apply(table, {start, B, 10});
  EXPECT_FALSE(apply(table, {end, A, 10}));
  EXPECT_TRUE(apply(table, {end, B, 20}));
  EXPECT_FALSE(apply(table, {end, B, 30}));
  EXPECT_EQ(totalsOf(table), "A=5 B=10");
}

/// Names by the thousand, "n00000", "n00007", …, in no order.
constexpr std::size_t nameCount = 2'000;
constexpr auto nameTexts = [] {
  std::array<std::array<char, 8>, nameCount> texts{};
  for (std::size_t i = 0; i < nameCount; ++i) {
    std::size_t number = i * 7 % nameCount;
    for (std::size_t digit = 5; digit > 0; --digit, number /= 10)
      texts[i][digit] = static_cast<char>('0' + number % 10);
    texts[i][0] = 'n';
  }
  return texts;
}();
template <std::size_t... i>
constexpr std::array<QVTimingName, nameCount> makeNames(std::index_sequence<i...>) {
  return {QVTimingName(nameTexts[i].data())...};
}
constexpr auto names = makeNames(std::make_index_sequence<nameCount>());

TEST(TimerTable, findsEachOfManyNamesAndKeepsThemInOrder) {
  TimerTable table;
  for (std::size_t round = 1; round <= 2; ++round) {
    for (std::size_t i = 0; i < nameCount; ++i) table.start(names[i], TimerTable::Instant());
    for (std::size_t i = nameCount; i-- > 0;)
      EXPECT_TRUE(table.end(names[i], TimerTable::Instant(std::chrono::seconds(i))));
    for (std::size_t i = 0; i < nameCount; ++i)
      EXPECT_EQ(table.elapsed(names[i]), std::chrono::seconds(i * round));
  }
  const auto totals = table.totals();
  EXPECT_EQ(totals.size(), nameCount);
  for (std::size_t i = 1; i < totals.size(); ++i)
    EXPECT_LT(totals[i - 1].name.stringValue(), totals[i].name.stringValue());
}

}  // namespace
}  // namespace QVFoundation
