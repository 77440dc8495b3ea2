#include "shared/ProgressLines.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

#include <QVFoundation/platform/text/Format.h>

#include "shared/TerminalText.h"

namespace example {

using namespace QVFoundation;
using namespace std::chrono_literals;

namespace {

bool canDraw() {
  const char* const terminal = std::getenv("TERM");
  return isatty(STDOUT_FILENO) != 0 && terminal != nullptr && std::string_view(terminal) != "dumb";
}

std::string barOf(double fraction) {
  constexpr std::size_t width = 16;
  const auto full = std::min(width, static_cast<std::size_t>(fraction * width));
  return '[' + std::string(full, '#') + std::string(width - full, '-') + "] ";
}

/// The last one where none does.
std::string firstThatFits(const std::vector<std::string>& lines) {
  const std::size_t width = terminalWidth();
  const auto found =
      std::ranges::find_if(lines, [&](const auto& line) { return shown(line) == shown(line, width); });
  return found != lines.end() ? *found : lines.back();
}

}  // namespace

ProgressLines::ProgressLines() : isTerminal_(canDraw()) {}

void ProgressLines::show(const NSProgress& whole, const NSProgress* part, const std::string& note,
                         bool isPaused) {
  if (std::string now = whole.localizedDescription(); now != description_) {
    description_ = std::move(now);
    samples_.clear();
    nextLine_ = {};
  }
  const double fraction = whole.fractionCompleted();
  const auto percent = stringWithFormat("%3d %%", static_cast<int>(fraction * 100));
  const std::string line = stringWithFormat("%@  %@%@", percent, description_, note);
  const std::string amount = part != nullptr ? amountOf(*part, isPaused) : "";
  const std::string file = whole.localizedAdditionalDescription();
  if (isTerminal_) {
    draw({firstThatFits({barOf(fraction) + line, line, percent + note, percent}), amount, file});
  } else if (!description_.empty() && Clock::now() >= nextLine_) {
    nextLine_ = Clock::now() + 2s;
    std::string text = line;
    for (const std::string& detail : {amount, shown(file, SIZE_MAX)})
      text += detail.empty() ? "" : "  " + detail;
    std::puts(text.c_str());
  }
  (void)std::fflush(stdout);
}

void ProgressLines::draw(const std::vector<std::string>& lines) {
  const std::size_t width = terminalWidth();
  std::string text = isDrawn_ ? stringWithFormat("\x1b[%zuA", lines.size()) : "";
  for (const std::string& line : lines) text += '\r' + shown(line, width) + "\x1b[K\n";
  std::fputs(text.c_str(), stdout);
  isDrawn_ = true;
}

/// Of the last seconds, since speeds change. After a pause it begins anew.
std::string ProgressLines::amountOf(const NSProgress& part, bool isPaused) {
  const Sample now{Clock::now(), part.completedUnitCount()};
  if (isPaused) samples_.clear();
  samples_.push_back(now);
  while (now.time - samples_.front().time > 5s) samples_.pop_front();
  const std::chrono::duration<double> time = now.time - samples_.front().time;

  NSProgress text(part.totalUnitCount());
  text.setKind(part.kind());
  text.setCompletedUnitCount(now.count);
  if (const auto done = now.count - samples_.front().count; done > 0 && time > 500ms) {
    const double perSecond = static_cast<double>(done) / time.count();
    text.setThroughput(static_cast<std::int64_t>(perSecond));
    const auto left = static_cast<double>(part.totalUnitCount() - now.count);
    text.setEstimatedTimeRemaining(left / perSecond * 1s);
  }
  return text.localizedAdditionalDescription();
}

}  // namespace example
