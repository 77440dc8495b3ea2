#include "QVFoundation/operations/QVProcessDataCollector.h"

#include <algorithm>
#include <array>
#include <span>
#include <utility>

#include "QVFoundation/operations/ProcessOutputReader_p.h"
#include "QVFoundation/platform/application/NSNotificationCenter.h"
#include "QVFoundation/platform/concurrency/Mutex.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {

/// Shared with the block that reads the first chunk.
struct QVProcessDataCollector::Collected {
  Mutex lock;
  bool isPastFirstChunk QV_GUARDED_BY(lock) = false;
  NSData data;  // the first chunk is written under the lock, the rest by the operation's thread alone

  void append(std::span<const std::byte> bytes) { data.insert(data.end(), bytes.begin(), bytes.end()); }

  /// There is something to read, or the end: nobody else reads before this is over, so this does not wait.
  void appendFirstChunk(NSFileHandle& reading) {
    const MutexLock guard(lock);
    if (std::exchange(isPastFirstChunk, true)) return;
    NSData chunk;
    try {
      chunk = reading.availableData();
    } catch (const NSException&) {
      chunk.clear();  // what cannot be read is missing
    }
    append(chunk);
  }
  bool hasFirstChunk() {
    const MutexLock guard(lock);
    return isPastFirstChunk;
  }
  void awaitFirstChunk() {
    const MutexLock guard(lock);
    isPastFirstChunk = true;
  }
};

QVProcessDataCollector::QVProcessDataCollector()
    : reader_(std::make_unique<detail::ProcessOutputReader>(NSPipe::Capacity::largest)),
      collected_(std::make_shared<Collected>()) {
  const auto& reading = reader_->pipe()->fileHandleForReading();
  notificationToken_ = NSNotificationCenter::defaultCenter()->addObserverForName(
      std::string(NSFileHandleDataAvailableNotification), reading, nullptr,
      [collected = collected_](const NSNotification& notification) {
        collected->appendFirstChunk(static_cast<NSFileHandle&>(*notification.object()));
      });
  try {
    reading->waitForDataInBackgroundAndNotify();
  } catch (...) {
    stopEarlyReading();
    throw;
  }
}

QVProcessDataCollector::~QVProcessDataCollector() { stopEarlyReading(); }

// Waits where the chunk is just being read. Removing the observer alone would not, on a thread that just tells
// observers of something itself.
void QVProcessDataCollector::stopEarlyReading() {
  if (notificationToken_ == nullptr) return;
  collected_->awaitFirstChunk();
  reader_->pipe()->fileHandleForReading()->stopWaitingForData();
  NSNotificationCenter::defaultCenter()->removeObserver(std::exchange(notificationToken_, nullptr));
}

const NSData& QVProcessDataCollector::data() const noexcept { return collected_->data; }

std::size_t QVProcessDataCollector::capacity() const noexcept { return reader_->pipe()->capacity(); }

NSTaskStream QVProcessDataCollector::handle() const { return reader_->pipe(); }

void QVProcessDataCollector::readToEndSync() {
  stopEarlyReading();
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): filled as far as it is used
  std::array<std::byte, 16UL * 1024> piece;
  while (!reader_->isAtEnd()) {
    const std::size_t count = reader_->read(piece);
    collected_->append(std::span(piece).first(count));
    if (count == 0) reader_->await();
  }
}

// While the operation's thread waits anyway, it waits for the first chunk too, and no other has to be woken.
int QVProcessDataCollector::descriptor() const {
  if (notificationToken_ == nullptr || collected_->hasFirstChunk()) return -1;
  const auto& reading = reader_->pipe()->fileHandleForReading();
  reading->stopWaitingForData();
  return reading->fileDescriptor();
}

void QVProcessDataCollector::readAvailable() {
  collected_->appendFirstChunk(*reader_->pipe()->fileHandleForReading());
}

void QVProcessDataCollector::stopReading() { reader_->stop(); }

}  // namespace QVFoundation
