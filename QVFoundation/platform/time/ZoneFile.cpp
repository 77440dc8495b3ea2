#include <algorithm>
#include <cstdint>
#include <string_view>

#include "QVFoundation/platform/time/ZoneFile_p.h"

namespace QVFoundation::detail {

namespace {

using std::chrono::seconds;
using std::chrono::sys_seconds;

/// Takes the file apart from the front. Where too little is left, it gives zeros and says so at the end.
class ZoneFileReader {
public:
  explicit ZoneFileReader(std::span<const std::byte> content) : rest_(content) {}

  std::span<const std::byte> bytes(std::size_t count) {
    if (count > rest_.size()) {
      failed_ = true;
      return {};
    }
    const auto taken = rest_.first(count);
    rest_ = rest_.subspan(count);
    return taken;
  }

  /// A number of so many bytes, the highest first.
  std::uint64_t number(std::size_t size) {
    std::uint64_t number = 0;
    for (const std::byte byte : bytes(size)) number = number << 8U | std::to_integer<std::uint64_t>(byte);
    return number;
  }

  std::string_view text(std::size_t size) {
    const auto taken = bytes(size);
    return {reinterpret_cast<const char*>(taken.data()), taken.size()};
  }
  std::string_view remainder() { return text(rest_.size()); }

  void fail() noexcept { failed_ = true; }
  [[nodiscard]] bool failed() const noexcept { return failed_; }

private:
  std::span<const std::byte> rest_;
  bool failed_ = false;
};

/// Each number in the header says how many of something follow.
struct ZoneFileHeader {
  bool hasWideBlock = false;
  std::size_t universalFlags = 0, standardFlags = 0, leapSeconds = 0, changes = 0, clocks = 0, letters = 0;

  explicit ZoneFileHeader(ZoneFileReader& in) {
    if (in.text(4) != "TZif") in.fail();
    hasWideBlock = in.number(1) >= '2';
    in.bytes(15);
    for (std::size_t* count : {&universalFlags, &standardFlags, &leapSeconds, &changes, &clocks, &letters}) {
      *count = static_cast<std::size_t>(in.number(4));
    }
  }

  [[nodiscard]] std::size_t blockSize(std::size_t timeSize) const {
    return changes * (timeSize + 1) + clocks * 6 + letters + leapSeconds * (timeSize + 4) + standardFlags +
           universalFlags;
  }
};

ZoneFile::Clock readClock(ZoneFileReader& in, std::size_t& nameAt) {
  const auto offset = static_cast<std::int32_t>(static_cast<std::uint32_t>(in.number(4)));
  const bool isDaylight = in.number(1) != 0;
  nameAt = static_cast<std::size_t>(in.number(1));
  return {seconds(offset), isDaylight, {}};
}

// Some 17,000 years off, so that calendars can count with it. Files begin with the beginning of time.
constexpr std::int64_t beginOfTime = -(std::int64_t{1} << 39);

sys_seconds readTime(ZoneFileReader& in, std::size_t timeSize) {
  const std::uint64_t number = in.number(timeSize);
  const std::int64_t time = timeSize == 8 ? static_cast<std::int64_t>(number)
                                          : static_cast<std::int32_t>(static_cast<std::uint32_t>(number));
  return sys_seconds(seconds(std::clamp(time, beginOfTime, -beginOfTime)));
}

void readBlock(ZoneFile& file, ZoneFileReader& in, const ZoneFileHeader& header, std::size_t timeSize) {
  ZoneFileReader block(in.bytes(header.blockSize(timeSize)));
  if (in.failed() || header.clocks == 0) return in.fail();
  // The first clock is that of the time before the first change.
  file.changes.push_back({sys_seconds(seconds(beginOfTime)), 0});
  for (std::size_t i = 0; i < header.changes; ++i) file.changes.push_back({readTime(block, timeSize), 0});
  for (std::size_t i = 0; i < header.changes; ++i) {
    file.changes[i + 1].clock = static_cast<std::size_t>(block.number(1));
  }
  std::vector<std::size_t> namesAt(header.clocks);
  for (std::size_t& nameAt : namesAt) file.clocks.push_back(readClock(block, nameAt));
  const std::string_view abbreviations = block.text(header.letters);
  for (std::size_t i = 0; i < header.clocks; ++i) {
    if (namesAt[i] >= abbreviations.size()) return in.fail();
    const std::string_view name = abbreviations.substr(namesAt[i]);
    file.clocks[i].abbreviation = name.substr(0, name.find('\0'));
  }
  if (block.failed()) in.fail();
}

bool isSound(const ZoneFile& file) {
  constexpr seconds most = std::chrono::hours(26);
  return std::ranges::is_sorted(file.changes, {}, &ZoneFile::Change::when) &&
         std::ranges::all_of(file.changes, [&](const auto& c) { return c.clock < file.clocks.size(); }) &&
         std::ranges::all_of(file.clocks, [&](const auto& c) { return abs(c.offset) < most; });
}

}  // namespace

std::optional<ZoneFile> ZoneFile::read(std::span<const std::byte> content) {
  ZoneFileReader in(content);
  ZoneFile file;
  const ZoneFileHeader header(in);
  if (header.hasWideBlock) {
    in.bytes(header.blockSize(4));  // the same for programs with times of 32 bits
    readBlock(file, in, ZoneFileHeader(in), 8);
    const std::string_view footer = in.remainder();
    if (footer.size() < 2 || footer.front() != '\n' || footer.back() != '\n') return {};
    file.rule = footer.substr(1, footer.size() - 2);
  } else {
    readBlock(file, in, header, 4);
  }
  if (in.failed() || !isSound(file)) return {};
  return file;
}

}  // namespace QVFoundation::detail
