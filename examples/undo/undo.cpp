// Moves files into a folder, and back, and again, in the background: see undo --help.

#include <clocale>
#include <csignal>
#include <cstdio>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <QVFoundation/QVFoundation.h>

#include "Move.h"
#include "shared/Console.h"
#include "shared/ProgressLines.h"
#include "shared/TerminalText.h"

using namespace QVFoundation;
using namespace example;
namespace fs = std::filesystem;

namespace {

constexpr const char* help = R"(Usage: undo FILE... FOLDER

Moves files and folders into a folder, one after the other, then waits for what is to be undone. Nothing that exists
is ever replaced.

Keys, on a terminal or from any other input: u undoes the last move, r redoes it, q quits once nothing is moved any
more. What could not be undone or redone is offered again. While something is moved, the key that takes it back stops
it; the others wait for its end. Ctrl-C stops it and quits; a second one does not clean up.

To another volume it is copied, and removed where it was once the copy is whole and has all that belongs to it. What
changes meanwhile is not removed: it says then what is where.

Exit status: 0 if all moves were done, 1 if something went wrong, 130 if it was stopped.
)";

/// On one line, whatever names have in them.
void tell(const std::string& text) {
  std::puts(shown(text, SIZE_MAX).c_str());
  (void)std::fflush(stdout);
}

/// Has one move run at a time. It is what they are undone for, the target of the undo manager.
class Mover : public std::enable_shared_from_this<Mover> {
public:
  Mover(const std::vector<fs::path>& files, fs::path folder)
      : folder_(std::move(folder)), waiting_(files.begin(), files.end()) {}

  /// Starts what is next, if nothing runs. False where there is nothing to start.
  bool goOn();
  void press(char key);
  void stop();
  /// How far the move is, or how it has ended.
  void show();
  [[nodiscard]] std::string menu() const;
  [[nodiscard]] bool hasFailed() const noexcept { return hasFailed_; }

private:
  void move(const fs::path& file);
  void begin(std::shared_ptr<Move> move);
  void offer(const std::shared_ptr<Move>& move);
  void stopRunning();
  void end(Move& move);

  const std::shared_ptr<NSUndoManager> undoManager_ = std::make_shared<NSUndoManager>();
  const fs::path folder_;
  std::deque<fs::path> waiting_;
  std::deque<char> keys_;  // for when nothing runs
  std::shared_ptr<Move> running_;
  bool isUndo_ = false;       // of another move
  bool isTakenBack_ = false;  // when it has ended
  bool hasFailed_ = false;
  std::optional<ProgressLines> lines_;
};

bool Mover::goOn() {
  while (running_ == nullptr && (!keys_.empty() || !waiting_.empty())) {
    if (keys_.empty()) {
      move(waiting_.front());
      waiting_.pop_front();
    } else {
      keys_.front() == 'u' ? undoManager_->undo() : undoManager_->redo();
      keys_.pop_front();
    }
  }
  return running_ != nullptr;
}

void Mover::move(const fs::path& file) {
  const fs::path name = file.filename();
  const auto move =
      std::make_shared<Move>(file, folder_ / name, [weak = weak_from_this()](std::shared_ptr<Move> starting) {
        if (const auto self = weak.lock()) self->begin(std::move(starting));
      });
  perform(move, undoManager_, shared_from_this(), stringWithFormat("Move of “%@”", name), {});
}

void Mover::begin(std::shared_ptr<Move> move) {
  running_ = std::move(move);
  running_->setEnableMainThreadProgress(true);
  isUndo_ = undoManager_->isUndoing();
  isTakenBack_ = false;
  lines_.emplace();
  if (!isUndo_ && !undoManager_->isRedoing()) return;
  // Beside the way back, for where there is none: taking that place away offers the same once more.
  undoManager_->registerUndo(shared_from_this(), [move = running_](Mover& mover) {
    if (!move->isDone()) mover.offer(move->again());
  });
}

void Mover::offer(const std::shared_ptr<Move>& move) {
  undoManager_->registerUndo(shared_from_this(), [move](Mover& mover) {
    perform(move, mover.undoManager_, mover.shared_from_this(), std::nullopt, {});  // its group has a name
  });
}

// What runs cannot be undone yet. So it is stopped, and undone at its end if it was faster.
void Mover::press(char key) {
  if (key == 'u') waiting_.clear();
  if (running_ != nullptr && !isTakenBack_ && key == (isUndo_ ? 'r' : 'u')) {
    isTakenBack_ = true;
    stopRunning();
  } else if (key == 'u' || key == 'r') {
    keys_.push_back(key);
  }
}

void Mover::stopRunning() {
  running_->cancelWithLocalizedDescription("Stopped moving " + running_->title() + ".");
}

void Mover::stop() {
  waiting_.clear();
  keys_.clear();
  isTakenBack_ = false;
  if (running_ != nullptr) stopRunning();
}

void Mover::show() {
  if (running_ == nullptr) return;
  if (running_->isSettled()) return end(*std::exchange(running_, nullptr));
  const auto bytes = running_->bytes();
  if (bytes == nullptr || running_->isCancelled())
    return;  // it takes no time, or its progress says nothing any more
  lines_->show(*running_->mainThreadProgress(), bytes.get(), isUndo_ ? " (r: stop)" : " (u: stop)", false);
}

void Mover::end(Move& move) {
  auto error = move.operationError();
  const bool isStopped = !move.isDone() && move.isCancelled();
  if (isStopped) error = move.checkForCancellation();  // also if it has not begun
  hasFailed_ = hasFailed_ || (error && !isStopped);
  tell(error ? error->localizedDescription() : "Moved " + move.title() + ".");
  // What was not done left something to undo that does nothing; that goes in the same way.
  if (!move.isDone() || isTakenBack_) isUndo_ ? undoManager_->redo() : undoManager_->undo();
}

std::string Mover::menu() const {
  std::string text;
  if (undoManager_->canUndo()) text += "u: " + undoManager_->undoMenuItemTitle() + "   ";
  if (undoManager_->canRedo()) text += "r: " + undoManager_->redoMenuItemTitle() + "   ";
  return text + "q: Quit";
}

int run(Mover& mover, Console& console) {
  bool isTold = false, quits = false, stops = false;
  for (;;) {
    const bool isBusy = mover.goOn();
    if (!isBusy && stops) return 128 + SIGINT;
    if (!isBusy && quits) return mover.hasFailed() ? 1 : 0;
    if (!isBusy && !isTold) tell(mover.menu());
    isTold = !isBusy;
    const Console::Input input = console.wait();
    if (input.signal != 0) {
      if (stops && (input.signal == SIGINT || input.signal == SIGQUIT)) console.endBy(input.signal);
      stops = true;
      mover.stop();
    }
    quits = quits || input.key == 'q' || input.inputHasEnded;
    if (!stops) mover.press(input.key);
    mover.show();
  }
}

}  // namespace

int main(int count, char** arguments) {
  std::setlocale(LC_CTYPE, "");  // for what is shown on the terminal
  std::signal(SIGPIPE, SIG_IGN);
  std::vector<fs::path> files;
  for (int i = 1; i < count; ++i) files.emplace_back(NSURL(std::string_view(arguments[i])).path());
  if (count == 2 && arguments[1] == std::string_view("--help")) return std::puts(help) < 0;
  if (count < 3 || !qv_isDirectoryAtPath(files.back())) {
    std::fputs("Files are needed, and a folder that exists. Try undo --help.\n", stderr);
    return 1;
  }
  const fs::path folder = fs::canonical(files.back());
  files.pop_back();
  Console console(Keys::Source::anyInput);
  return run(*std::make_shared<Mover>(files, folder), console);
}
