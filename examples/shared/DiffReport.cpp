#include "shared/DiffReport.h"

namespace example {

namespace {

struct Message {
  std::string_view before, between, after;
};
constexpr Message ofEquals[] = {{"Files ", " and ", " are identical"},
                                {"File ", " is a fifo while file ", " is a fifo"},
                                {"File ", " is a socket while file ", " is a socket"}};

constexpr std::size_t longestMessage = 20'000, enoughDifferences = 500;

}  // namespace

DiffReport::DiffReport(const std::filesystem::path& one, const std::filesystem::path& other)
    : one_(one), other_(other) {}

std::vector<std::string> DiffReport::arguments() const {
  return {"--recursive", "--brief", "--report-identical-files", "--no-dereference", "--", one_, other_};
}

// Names can hold what looks like messages, so nothing is searched for: both paths end alike, by which the length of
// that end is known. And no message of a difference can go by as a part of another: all but the one of two kinds of
// items begin or end with a line that is told on its own.
std::optional<std::string> DiffReport::take(std::string_view line) {
  if (!begun_.empty()) begun_ += '\n';
  begun_ += line;
  for (const auto& [before, between, after] : ofEquals) {
    const std::size_t first = before.size() + one_.size();
    const std::size_t fixed = first + between.size() + other_.size() + after.size();
    if (begun_.size() < fixed || (begun_.size() - fixed) % 2 != 0) continue;
    const std::string end = begun_.substr(first, (begun_.size() - fixed) / 2);
    std::string message(before);
    message.append(one_).append(end).append(between).append(other_).append(end).append(after);
    if (begun_ != message) continue;
    begun_.clear();
    return one_ + end;
  }
  if (line.starts_with("Only in ") || line.ends_with(" differ") || begun_.size() > longestMessage) {
    if (differences_.size() < enoughDifferences) differences_ += begun_ + '\n';
    begun_.clear();
  }
  return {};
}

}  // namespace example
