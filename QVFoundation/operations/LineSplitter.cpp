#include <utility>

#include "QVFoundation/operations/LineSplitter_p.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation::detail {

LineSplitter::LineSplitter(Handler handler, std::size_t longestLine)
    : handler_(std::move(handler)), longestLine_(longestLine) {
  if (!handler_) throw NSException(NSInvalidArgumentException, "There is no handler for lines");
}

void LineSplitter::take(std::string_view piece) {
  for (;;) {
    const std::size_t end = piece.find('\n');
    if (end == std::string_view::npos) break;
    handOver(piece.substr(0, end));
    piece.remove_prefix(end + 1);
  }
  if (piece.empty()) return;
  hasBegun_ = true;
  begun_ += fitting(piece, begun_.size());
}

void LineSplitter::end() {
  if (hasBegun_) handOver({});
}

std::string_view LineSplitter::fitting(std::string_view text, std::size_t before) {
  const std::string_view fits = text.substr(0, longestLine_ - before);
  dropped_ += text.size() - fits.size();
  return fits;
}

// Most lines are in one piece, and handed over without a copy.
void LineSplitter::handOver(std::string_view rest) {
  if (!std::exchange(hasBegun_, false)) {
    handler_(fitting(rest, 0));
    return;
  }
  begun_ += fitting(rest, begun_.size());
  const std::string line = std::exchange(begun_, {});
  handler_(line);
}

}  // namespace QVFoundation::detail
