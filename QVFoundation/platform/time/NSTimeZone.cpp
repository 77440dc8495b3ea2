#include "QVFoundation/platform/time/NSTimeZone.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include "QVFoundation/platform/concurrency/UnfairLock.h"
#include "QVFoundation/platform/files/NSDataFiles.h"
#include "QVFoundation/platform/text/Format.h"
#include "QVFoundation/platform/time/ZoneHistory_p.h"

namespace QVFoundation {

namespace detail {

struct TimeZoneRecord {
  std::string name;
  ZoneHistory history;
};

const ZoneHistory& historyOf(const NSTimeZone& zone) noexcept { return zone.record_->history; }

}  // namespace detail

namespace {

using namespace std::chrono;

constexpr std::string_view zoneFolder = "/usr/share/zoneinfo/";

/// The zones that a process shares.
struct ProcessZones {
  UnfairLock lock;
  std::optional<NSTimeZone> system QV_GUARDED_BY(lock);
  std::optional<NSTimeZone> chosen QV_GUARDED_BY(lock);
};

ProcessZones& processZones() {
  // Never destroyed: threads may ask while the process ends.
  static auto& zones = *new ProcessZones();
  return zones;
}

/// Whether it can only name a file below the folder: letters, digits and "+-_", in parts between slashes.
bool isZoneName(std::string_view name) {
  const auto isAllowed = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '+' ||
           c == '-' || c == '_' || c == '/';
  };
  return !name.empty() && name.front() != '/' && name.find("//") == std::string_view::npos &&
         std::ranges::all_of(name, isAllowed);
}

/// The offset in a name such as "GMT+0530".
std::optional<seconds> offsetInName(std::string_view name) {
  if (name.size() != 8 || !name.starts_with("GMT") || (name[3] != '+' && name[3] != '-')) return {};
  std::array<int, 4> digits{};
  for (std::size_t i = 0; i < digits.size(); ++i) {
    digits[i] = name[4 + i] - '0';
    if (digits[i] < 0 || digits[i] > 9) return {};
  }
  const seconds offset = hours(digits[0] * 10 + digits[1]) + minutes(digits[2] * 10 + digits[3]);
  return name[3] == '-' ? -offset : offset;
}

/// The name in a path such as "/usr/share/zoneinfo/Europe/Vienna".
std::string_view nameInPath(std::string_view path) {
  constexpr std::string_view folder = "/zoneinfo/";
  const auto found = path.find(folder);
  return found == std::string_view::npos ? path : path.substr(found + folder.size());
}

sys_seconds secondsOf(NSDate date) noexcept { return floor<seconds>(date); }

}  // namespace

NSTimeZone::NSTimeZone(std::shared_ptr<const detail::TimeZoneRecord> record) noexcept
    : record_(std::move(record)) {}

NSTimeZone NSTimeZone::make(std::string name, detail::ZoneHistory history) {
  return NSTimeZone(std::make_shared<const detail::TimeZoneRecord>(std::move(name), std::move(history)));
}

std::optional<NSTimeZone> NSTimeZone::fromFile(std::string_view name, std::string_view path) {
  const auto content = dataWithContentsOfFile(path);
  if (!content) return {};
  auto history = detail::ZoneHistory::fromFile(*content);
  if (!history) return {};
  return make(std::string(name), *std::move(history));
}

std::optional<NSTimeZone> NSTimeZone::timeZoneWithName(std::string_view name) {
  if (name == "GMT" || name == "UTC") return make(std::string(name), {seconds(0), std::string(name)});
  if (const auto offset = offsetInName(name)) return timeZoneForSecondsFromGMT(*offset);
  if (!isZoneName(name)) return {};
  return fromFile(name, std::string(zoneFolder).append(name));
}

std::optional<NSTimeZone> NSTimeZone::timeZoneForSecondsFromGMT(seconds offset) {
  if (offset < -hours(18) || offset > hours(18)) return {};
  const auto rounded = round<minutes>(offset);
  if (rounded == minutes(0)) return GMT();
  const auto count = static_cast<int>(abs(rounded).count());
  std::string name =
      stringWithFormat("GMT%c%02d%02d", rounded < minutes(0) ? '-' : '+', count / 60, count % 60);
  return make(name, {rounded, name});
}

NSTimeZone NSTimeZone::GMT() { return make("GMT", {seconds(0), "GMT"}); }

/// A name, a path, or a rule.
std::optional<NSTimeZone> NSTimeZone::fromEnvironment() {
  const char* const variable = std::getenv("TZ");  // NOLINT(concurrency-mt-unsafe): see the header
  if (variable == nullptr) return {};
  std::string_view text = variable;
  if (text.starts_with(':')) text.remove_prefix(1);
  if (text.empty()) return GMT();  // so the C library has it
  if (text.starts_with('/')) return fromFile(nameInPath(text), text);
  if (auto zone = timeZoneWithName(text)) return zone;
  auto history = detail::ZoneHistory::fromRule(text);
  return history ? make(std::string(text), *std::move(history)) : GMT();
}

NSTimeZone NSTimeZone::readSystemTimeZone() {
  if (auto zone = fromEnvironment()) return *std::move(zone);
  constexpr std::string_view path = "/etc/localtime";
  std::error_code noLink;
  const auto target = std::filesystem::read_symlink(path, noLink);
  auto zone = fromFile(noLink ? std::string_view("localtime") : nameInPath(target.native()), path);
  return zone ? *std::move(zone) : GMT();
}

NSTimeZone NSTimeZone::systemTimeZone() {
  ProcessZones& zones = processZones();
  {
    const UnfairLockGuard guard(zones.lock);
    if (zones.system) return *zones.system;
  }
  NSTimeZone read = readSystemTimeZone();  // outside of the lock, since it reads a file
  const UnfairLockGuard guard(zones.lock);
  if (!zones.system) zones.system = std::move(read);
  return *zones.system;
}

void NSTimeZone::resetSystemTimeZone() {
  ProcessZones& zones = processZones();
  const UnfairLockGuard guard(zones.lock);
  zones.system.reset();
}

NSTimeZone NSTimeZone::defaultTimeZone() {
  ProcessZones& zones = processZones();
  {
    const UnfairLockGuard guard(zones.lock);
    if (zones.chosen) return *zones.chosen;
  }
  return systemTimeZone();
}

void NSTimeZone::setDefaultTimeZone(std::optional<NSTimeZone> zone) {
  ProcessZones& zones = processZones();
  const UnfairLockGuard guard(zones.lock);
  zones.chosen.swap(zone);
}

std::optional<NSTimeZone> NSTimeZone::timeZoneWithSelector(std::string_view name) {
  using Operation = NSTimeZone (*)();
  constexpr std::pair<std::string_view, Operation> operations[] = {
      {"defaultTimeZone", &NSTimeZone::defaultTimeZone},
      {"localTimeZone", &NSTimeZone::localTimeZone},
      {"systemTimeZone", &NSTimeZone::systemTimeZone},
  };
  const auto* const found =
      std::ranges::find(operations, name, [](const auto& entry) { return entry.first; });
  if (found == std::end(operations)) return {};
  return found->second();
}

const std::string& NSTimeZone::name() const noexcept { return record_->name; }

seconds NSTimeZone::secondsFromGMTForDate(NSDate date) const noexcept {
  return record_->history.at(secondsOf(date)).offset;
}

bool NSTimeZone::isDaylightSavingTimeForDate(NSDate date) const noexcept {
  return daylightSavingTimeOffsetForDate(date) != seconds(0);
}

seconds NSTimeZone::daylightSavingTimeOffsetForDate(NSDate date) const noexcept {
  return record_->history.at(secondsOf(date)).saving;
}

std::string NSTimeZone::abbreviationForDate(NSDate date) const {
  return record_->history.at(secondsOf(date)).abbreviation;
}

}  // namespace QVFoundation
