#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

#include "QVFoundation/platform/time/ZoneFile_p.h"
#include "QVFoundation/platform/time/ZoneHistory_p.h"
#include "QVFoundation/platform/time/ZoneRule_p.h"

namespace QVFoundation::detail {

namespace {

using namespace std::chrono;

// `NSDate` counts nanoseconds in 64 bits, which last until 2262. So all changes can be listed.
constexpr year lastYear{2263};
constexpr year firstYearOfRules{1677};

/// A period, and whether the law calls it daylight saving.
struct LegalPeriod {
  ZonePeriod period;
  bool isDaylight = false;
};

/// What a rule says of the time after `begin`, beginning in that year.
void appendPeriodsOfRule(std::vector<LegalPeriod>& periods, const ZoneRule& rule, sys_seconds begin) {
  if (!rule.daylight) return;
  const auto& daylight = *rule.daylight;
  const auto firstNew = static_cast<std::ptrdiff_t>(periods.size());
  for (year year = year_month_day(floor<days>(begin)).year(); year <= lastYear; ++year) {
    const sys_seconds on(daylight.begin.inYear(year).time_since_epoch() - rule.standard.offset);
    const sys_seconds off(daylight.end.inYear(year).time_since_epoch() - daylight.clock.offset);
    if (on > begin) periods.push_back({{on, daylight.clock.offset, {}, daylight.clock.abbreviation}, true});
    if (off > begin) periods.push_back({{off, rule.standard.offset, {}, rule.standard.abbreviation}, false});
  }
  // Where the end of one summer is the beginning of the next one, as in a zone that saves all year, summer counts.
  std::sort(periods.begin() + firstNew, periods.end(), [](const LegalPeriod& a, const LegalPeriod& b) {
    return std::pair(a.period.begin, a.isDaylight) < std::pair(b.period.begin, b.isDaylight);
  });
}

/// What a period of daylight saving is ahead of the standard time before or after it, where there are such. The two
/// differ where the standard itself changed meanwhile; then it is the smaller one. Where the standard went back by
/// what was saved, that is taken for an hour. Zero where the clocks are behind.
seconds savingOf(seconds offset, std::optional<seconds> before, std::optional<seconds> after) {
  const auto behind = seconds::min();
  const seconds sinceBefore = before ? offset - *before : behind;
  const seconds sinceAfter = after ? offset - *after : behind;
  const auto [smaller, larger] = std::minmax(sinceBefore, sinceAfter);
  if (smaller > seconds(0)) return smaller;
  if (larger > seconds(0)) return larger;
  return larger == seconds(0) ? hours(1) : seconds(0);
}

/// For each period, the standard time that comes next.
std::vector<std::optional<seconds>> standardsBehind(const std::vector<LegalPeriod>& periods) {
  std::vector<std::optional<seconds>> standards(periods.size());
  std::optional<seconds> next;
  for (std::size_t i = periods.size(); i-- > 0;) {
    standards[i] = next;
    if (!periods[i].isDaylight) next = periods[i].period.offset;
  }
  return standards;
}

/// A summer between two winters that the law calls the exception, with clocks put back.
bool liesBetweenNegativeSavings(const std::vector<LegalPeriod>& periods, std::size_t index) {
  if (index == 0 || index + 1 >= periods.size() || periods[index].isDaylight) return false;
  const auto& [before, wasDaylight] = periods[index - 1];
  const auto& [after, willBeDaylight] = periods[index + 1];
  return wasDaylight && willBeDaylight && before.offset == after.offset &&
         before.offset < periods[index].period.offset && after.begin - periods[index].period.begin < years(1);
}

std::vector<ZonePeriod> withSavings(std::vector<LegalPeriod> periods) {
  // Gathered once: a damaged file may say of ever so many periods that all of them save daylight.
  const auto standards = standardsBehind(periods);
  std::optional<seconds> standard;
  for (std::size_t i = 0; i < periods.size(); ++i) {
    ZonePeriod& period = periods[i].period;
    if (!periods[i].isDaylight) standard = period.offset;
    if (periods[i].isDaylight) {
      period.saving = savingOf(period.offset, standard, standards[i]);
    } else if (liesBetweenNegativeSavings(periods, i)) {
      period.saving = period.offset - periods[i - 1].period.offset;
    }
  }
  std::vector<ZonePeriod> result;
  for (auto& legal : periods) {
    // One that lasts no time gives way to the next.
    if (!result.empty() && result.back().begin == legal.period.begin) result.pop_back();
    result.push_back(std::move(legal.period));
  }
  return result;
}

}  // namespace

std::optional<ZoneHistory> ZoneHistory::fromFile(std::span<const std::byte> content) {
  const auto file = ZoneFile::read(content);
  if (!file) return {};
  std::vector<LegalPeriod> periods;
  for (const ZoneFile::Change& change : file->changes) {
    const ZoneFile::Clock& clock = file->clocks[change.clock];
    periods.push_back({{change.when, clock.offset, {}, clock.abbreviation}, clock.isDaylight});
  }
  if (!file->rule.empty()) {
    const auto rule = ZoneRule::parse(file->rule);
    if (!rule) return {};
    const sys_days beginOfRules(firstYearOfRules / January / 1);
    appendPeriodsOfRule(periods, *rule, std::max<sys_seconds>(periods.back().period.begin, beginOfRules));
  }
  return ZoneHistory(withSavings(std::move(periods)));
}

std::optional<ZoneHistory> ZoneHistory::fromRule(std::string_view text) {
  const auto rule = ZoneRule::parse(text);
  if (!rule) return {};
  const sys_days begin(firstYearOfRules / January / 1);
  std::vector<LegalPeriod> periods{{{begin, rule->standard.offset, {}, rule->standard.abbreviation}, false}};
  appendPeriodsOfRule(periods, *rule, begin);
  return ZoneHistory(withSavings(std::move(periods)));
}

ZoneHistory::ZoneHistory(seconds offset, std::string abbreviation)
    : periods_{{sys_seconds(), offset, {}, std::move(abbreviation)}} {}

ZoneHistory::ZoneHistory(std::vector<ZonePeriod> periods) : periods_(std::move(periods)) {}

const ZonePeriod& ZoneHistory::at(sys_seconds when) const noexcept {
  const auto next =
      std::upper_bound(periods_.begin() + 1, periods_.end(), when,
                       [](sys_seconds time, const ZonePeriod& period) { return time < period.begin; });
  return *std::prev(next);
}

const ZonePeriod& ZoneHistory::atLocal(local_seconds when) const noexcept {
  // A period can show the time if its own clock is past its beginning by then. That of a skipped time is not.
  const auto next = std::upper_bound(
      periods_.begin() + 1, periods_.end(), when, [](local_seconds time, const ZonePeriod& period) {
        return time.time_since_epoch() - period.offset < period.begin.time_since_epoch();
      });
  return *std::prev(next);
}

}  // namespace QVFoundation::detail
