#include "Terminal.h"

#include <algorithm>
#include <cstdio>
#include <unistd.h>
#include <utility>

#include <QVFoundation/operations/QVProgressUtilities.h>
#include <QVFoundation/platform/text/Format.h>

namespace example {

using namespace QVFoundation;
using namespace std::chrono_literals;

namespace {

int percentOf(const NSProgress& progress) { return static_cast<int>(progress.fractionCompleted() * 100); }

std::string barOf(const NSProgress& progress) {
  constexpr std::size_t width = 24;
  const auto full = std::min(width, static_cast<std::size_t>(progress.fractionCompleted() * width));
  return '[' + std::string(full, '#') + std::string(width - full, '-') + ']';
}

std::string lineFor(const NSProgress& progress, std::size_t level, const std::string& text) {
  std::string label = std::string(2 * level, ' ') + name(progress).value_or("...");
  label.resize(std::max<std::size_t>(label.size(), 24), ' ');
  return stringWithFormat("%@ %@ %3d %%  %@", label, barOf(progress), percentOf(progress), text);
}

/// What a progress says, and how much it has counted: only at the tips of the tree, since a description is
/// also set on all above.
std::string textOf(const NSProgress& progress) {
  const std::string counts = progress.localizedAdditionalDescription();
  return progress.localizedDescription() + (counts.empty() ? "" : ", " + counts);
}

void addTree(std::vector<std::string>& lines, const NSProgress& progress, std::size_t level) {
  const auto children = progress.children();
  lines.push_back(lineFor(progress, level, children.empty() ? textOf(progress) : ""));
  for (const auto& child : children) addTree(lines, *child, level + 1);
}

void write(const std::string& text) {
  (void)std::fwrite(text.data(), 1, text.size(), stdout);
  (void)std::fflush(stdout);
}

// What terminals understand.
constexpr const char* hideCursorAndCutLines = "\x1b[?25l\x1b[?7l";
constexpr const char* showCursorAndWrapLines = "\x1b[?25h\x1b[?7h";
constexpr const char* endLine = "\x1b[K\n";
constexpr const char* clearBelow = "\x1b[J";

}  // namespace

ProgressScreen::ProgressScreen(std::shared_ptr<NSProgress> whole,
                               std::vector<std::shared_ptr<NSProgress>> parts)
    : whole_(std::move(whole)), parts_(std::move(parts)), isTerminal_(isatty(STDOUT_FILENO) != 0) {
  if (isTerminal_) write(hideCursorAndCutLines);
}

ProgressScreen::~ProgressScreen() {
  if (isTerminal_) write(showCursorAndWrapLines);
}

void ProgressScreen::show(const std::string& note) {
  if (isTerminal_) {
    draw(note);
  } else if (const auto now = std::chrono::steady_clock::now(); now >= nextLine_) {
    nextLine_ = now + 500ms;
    printLine();
  }
}

void ProgressScreen::draw(const std::string& note) {
  std::vector<std::string> lines = {lineFor(*whole_, 0, note)};
  for (const auto& part : parts_) addTree(lines, *part, 1);

  std::string text = lines_ > 0 ? stringWithFormat("\x1b[%ldA\r", lines_) : "";
  for (const std::string& line : lines) text += line + endLine;
  write(text + clearBelow);
  lines_ = std::ssize(lines);
}

void ProgressScreen::printLine() const {
  std::string line = stringWithFormat("%3d %%", percentOf(*whole_));
  for (const auto& part : parts_) {
    line += stringWithFormat("   %@ %3d %%: %@", name(*part).value_or("..."), percentOf(*part),
                             part->localizedDescription());
  }
  write(line + '\n');
}

}  // namespace example
