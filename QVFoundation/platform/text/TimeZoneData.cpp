#include <algorithm>
#include <cstring>
#include <utility>

#include "QVFoundation/platform/text/TimeZoneData_p.h"

namespace QVFoundation::detail {

using std::chrono::seconds;

/// Reads a file from its start. What goes past its end reads as zeros, and is told at the end.
class TimeZoneData::Reader {
public:
  explicit Reader(std::span<const std::byte> bytes) : rest_(bytes) {}

  /// False where the file is damaged.
  [[nodiscard]] bool read(TimeZoneData& data) {
    Header header = readHeader();
    std::size_t timeSize = 4;
    if (header.version >= '2') {  // what follows first is for programs of the last century
      skip(header.size(timeSize));
      header = readHeader();
      timeSize = 8;
    }
    if (!isSound_ || header.size(timeSize) > rest_.size()) return false;
    readBody(data, header, timeSize);
    return isSound_ && (timeSize == 4 || readRule(data));
  }

private:
  struct Header {
    char version;
    std::uint64_t utcMarks, standardMarks, leapSeconds, times, types, characters;

    [[nodiscard]] std::uint64_t size(std::size_t timeSize) const {
      return times * (timeSize + 1) + types * 6 + characters + leapSeconds * (timeSize + 4) + standardMarks +
             utcMarks;
    }
  };
  struct Type {
    std::int64_t offset;
    bool savesDaylight;
    std::size_t name;
  };

  Header readHeader() {
    constexpr std::size_t reserved = 15;
    isSound_ &= text(4) == "TZif";
    Header header{};
    header.version = static_cast<char>(number(1));
    skip(reserved);
    for (auto* field : {&header.utcMarks, &header.standardMarks, &header.leapSeconds, &header.times,
                        &header.types, &header.characters}) {
      *field = static_cast<std::uint32_t>(number(4));
    }
    isSound_ &= header.types > 0;
    return header;
  }

  void readBody(TimeZoneData& data, const Header& header, std::size_t timeSize) {
    std::vector<std::int64_t> times(header.times);
    for (std::int64_t& time : times) time = number(timeSize);
    isSound_ &= std::ranges::is_sorted(times, std::less_equal<>());
    std::vector<std::size_t> types(header.times);
    for (std::size_t& type : types) {
      type = static_cast<std::uint8_t>(number(1));
      isSound_ &= type < header.types;
    }
    std::vector<Type> all(header.types);
    for (Type& type : all) {
      type.offset = number(4);
      type.savesDaylight = number(1) != 0;
      type.name = static_cast<std::uint8_t>(number(1));
    }
    const std::string_view characters = text(header.characters);
    skip(header.leapSeconds * (timeSize + 4) + header.standardMarks + header.utcMarks);
    if (!isSound_) return;

    data.periods_.push_back(period(all.front(), characters));
    for (std::size_t i = 0; i < times.size(); ++i) {
      data.changes_.push_back({times[i], data.periods_.size()});
      data.periods_.push_back(period(all[types[i]], characters));
    }
  }

  TimeZonePeriod period(const Type& type, std::string_view characters) {
    constexpr std::int64_t most = 26 * 3600;  // RFC 8536, 3.2
    isSound_ &= type.offset >= -most && type.offset <= most && type.name < characters.size();
    if (!isSound_) return {};
    const std::string_view name = characters.substr(type.name);
    return {seconds(type.offset), {}, type.savesDaylight, std::string(name.substr(0, name.find('\0')))};
  }

  /// The last line, which may be empty.
  bool readRule(TimeZoneData& data) {
    const std::string_view line = text(rest_.size());
    if (line.size() < 2 || line.front() != '\n' || line.back() != '\n') return false;
    const std::string_view rule = line.substr(1, line.size() - 2);
    if (rule.empty()) return true;
    data.rule_ = TimeZoneRule::parse(rule);
    return data.rule_.has_value();
  }

  std::string_view text(std::uint64_t length) {
    isSound_ &= length <= rest_.size();
    if (!isSound_) return {};
    const std::string_view text(reinterpret_cast<const char*>(rest_.data()), length);
    rest_ = rest_.subspan(length);
    return text;
  }
  void skip(std::uint64_t length) { static_cast<void>(text(length)); }

  /// A signed number of that many bytes, the first of which counts most.
  std::int64_t number(std::size_t size) {
    std::uint64_t number = 0;
    for (const char byte : text(size)) number = (number << 8) | static_cast<std::uint8_t>(byte);
    const auto unused = static_cast<int>(64 - size * 8);
    return static_cast<std::int64_t>(number << unused) >> unused;
  }

  std::span<const std::byte> rest_;
  bool isSound_ = true;
};

std::unique_ptr<const TimeZoneData> TimeZoneData::fromFile(std::span<const std::byte> bytes) {
  auto data = std::make_unique<TimeZoneData>();
  if (!Reader(bytes).read(*data)) return nullptr;
  data->addSavings();
  return data;
}

std::unique_ptr<const TimeZoneData> TimeZoneData::fromRule(TimeZoneRule rule) {
  auto data = std::make_unique<TimeZoneData>();
  data->rule_ = std::move(rule);
  return data;
}

std::unique_ptr<const TimeZoneData> TimeZoneData::fixed(seconds offset, std::string abbreviation) {
  auto data = std::make_unique<TimeZoneData>();
  data->periods_.push_back({offset, {}, false, std::move(abbreviation)});
  return data;
}

// Files do not say how much is saved: that is told by the nearest time without saving, before or else after.
void TimeZoneData::addSavings() {
  const auto savingIn = [this](std::size_t index) {
    const auto isStandard = [](const TimeZonePeriod& period) { return !period.savesDaylight; };
    const auto period = periods_.begin() + static_cast<std::ptrdiff_t>(index);
    const auto before = std::find_if(std::make_reverse_iterator(period), periods_.rend(), isStandard);
    if (before != periods_.rend() && before->offset != period->offset) return period->offset - before->offset;
    const auto after = std::find_if(period, periods_.end(), isStandard);
    if (after != periods_.end() && after->offset != period->offset) return period->offset - after->offset;
    return std::chrono::seconds(std::chrono::hours(1));
  };
  for (std::size_t i = 0; i < periods_.size(); ++i) {
    if (periods_[i].savesDaylight) periods_[i].saving = savingIn(i);
  }
}

const TimeZonePeriod& TimeZoneData::at(std::int64_t when) const {
  if (rule_ && (changes_.empty() || when >= changes_.back().when)) return rule_->at(when);
  const auto next = std::ranges::upper_bound(changes_, when, {}, &Change::when);
  return periods_[next == changes_.begin() ? 0 : std::prev(next)->period];
}

const TimeZonePeriod& TimeZoneData::atLocal(std::int64_t when) const {
  constexpr std::int64_t day = 86400;
  const TimeZonePeriod& before = at(when - day);
  const TimeZonePeriod& after = at(when + day);
  const auto fits = [&](const TimeZonePeriod& period) {
    return at(when - period.offset.count()).offset == period.offset;
  };
  return fits(before) || !fits(after) ? before : after;
}

std::optional<std::int64_t> TimeZoneData::changeAfter(std::int64_t when) const {
  const auto next = std::ranges::upper_bound(changes_, when, {}, &Change::when);
  if (next != changes_.end()) return next->when;
  return rule_ ? rule_->changeAfter(when) : std::nullopt;
}

}  // namespace QVFoundation::detail
