#include "QVFoundation/operations/QVProcessStreamCollector.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "QVFoundation/operations/GrowingBytes_p.h"
#include "QVFoundation/operations/LineSplitter_p.h"
#include "QVFoundation/operations/ProcessOutputReader_p.h"

namespace QVFoundation {

namespace {

constexpr std::size_t unbounded = std::numeric_limits<std::size_t>::max();
/// For one read.
constexpr std::size_t pieceAtLeast = 64UL * 1024;
constexpr std::size_t pieceAtMost = 1024UL * 1024;
/// Between two looks at whether the program has ended or the operation is cancelled.
constexpr int readsInARow = 16;

std::string_view textOf(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace

QVProcessStreamCollector::QVProcessStreamCollector() : QVProcessStreamCollector(unbounded, nullptr) {}

QVProcessStreamCollector::QVProcessStreamCollector(std::size_t keepAtMost)
    : QVProcessStreamCollector(keepAtMost, nullptr) {}

QVProcessStreamCollector::QVProcessStreamCollector(std::function<void(std::string_view)> lineHandler,
                                                   std::optional<std::size_t> longestLine)
    : QVProcessStreamCollector(0, std::make_unique<detail::LineSplitter>(std::move(lineHandler),
                                                                         longestLine.value_or(unbounded))) {}

QVProcessStreamCollector::QVProcessStreamCollector(std::size_t keepAtMost,
                                                   std::unique_ptr<detail::LineSplitter> lines)
    : reader_(std::make_unique<detail::ProcessOutputReader>(NSPipe::Capacity::standard)),
      bound_(keepAtMost),
      lines_(std::move(lines)),
      kept_(std::make_unique<detail::GrowingBytes>()),
      passing_(std::make_unique<detail::GrowingBytes>()) {}

QVProcessStreamCollector::~QVProcessStreamCollector() = default;

std::span<const std::byte> QVProcessStreamCollector::data() const noexcept { return kept_->bytes(); }

std::string_view QVProcessStreamCollector::text() const noexcept { return textOf(data()); }

std::uint64_t QVProcessStreamCollector::droppedByteCount() const noexcept {
  return lines_ == nullptr ? dropped_ : lines_->droppedByteCount();
}

NSTaskStream QVProcessStreamCollector::handle() const { return reader_->pipe(); }

int QVProcessStreamCollector::descriptor() const { return reader_->descriptor(); }

void QVProcessStreamCollector::stopReading() { reader_->stop(); }

void QVProcessStreamCollector::readAvailable() {
  for (int i = 0; i < readsInARow && readOnce(); ++i) {
  }
}

void QVProcessStreamCollector::readToEndSync() {
  while (!reader_->isAtEnd()) {
    if (!readOnce()) reader_->await();
  }
  if (lines_ != nullptr) lines_->end();
}

// False where there is nothing now.
bool QVProcessStreamCollector::readOnce() {
  const std::size_t wanted = bound_ - kept_->size();
  if (wanted == 0) {
    const auto room = passing_->room(pieceAtLeast);
    const std::size_t count = reader_->read(room);
    take(room.first(count));
    return count > 0;
  }
  const auto room = kept_->room(std::min(wanted, pieceAtLeast));
  const std::size_t count = reader_->read(room.first(std::min({room.size(), wanted, pieceAtMost})));
  kept_->append(count);
  return count > 0;
}

void QVProcessStreamCollector::take(std::span<const std::byte> bytes) {
  if (lines_ != nullptr) {
    lines_->take(textOf(bytes));
  } else {
    dropped_ += bytes.size();
  }
}

}  // namespace QVFoundation
