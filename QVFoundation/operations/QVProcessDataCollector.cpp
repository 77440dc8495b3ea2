#include "QVFoundation/operations/QVProcessDataCollector.h"

#include <algorithm>
#include <array>
#include <span>
#include <utility>

#include "QVFoundation/operations/ProcessOutputReader_p.h"
#include "QVFoundation/platform/application/NSNotificationCenter.h"
#include "QVFoundation/platform/concurrency/Mutex.h"

namespace QVFoundation {

/// Shared with the block that adds the first chunk.
struct QVProcessDataCollector::Collected {
  Mutex lock;
  NSData data;

  void append(std::span<const std::byte> bytes) {
    const MutexLock guard(lock);
    data.insert(data.end(), bytes.begin(), bytes.end());
  }
};

QVProcessDataCollector::QVProcessDataCollector()
    : reader_(std::make_unique<detail::ProcessOutputReader>()), collected_(std::make_shared<Collected>()) {
  const auto& reading = reader_->pipe()->fileHandleForReading();
  notificationToken_ = NSNotificationCenter::defaultCenter()->addObserverForName(
      std::string(NSFileHandleDataAvailableNotification), reading, nullptr,
      [collected = collected_](const NSNotification& notification) {
        collected->append(static_cast<NSFileHandle&>(*notification.object()).availableData());
      });
  try {
    reading->waitForDataInBackgroundAndNotify();
  } catch (...) {
    stopEarlyReading();
    throw;
  }
}

QVProcessDataCollector::~QVProcessDataCollector() { stopEarlyReading(); }

// Waits where the chunk is just being read.
void QVProcessDataCollector::stopEarlyReading() {
  if (notificationToken_ == nullptr) return;
  reader_->pipe()->fileHandleForReading()->stopWaitingForData();
  NSNotificationCenter::defaultCenter()->removeObserver(std::exchange(notificationToken_, nullptr));
}

const NSData& QVProcessDataCollector::data() const noexcept { return collected_->data; }

std::size_t QVProcessDataCollector::capacity() const noexcept { return reader_->pipe()->capacity(); }

NSTaskStream QVProcessDataCollector::handle() const { return reader_->pipe(); }

void QVProcessDataCollector::readToEndSync() {
  stopEarlyReading();
  std::array<std::byte, 16UL * 1024> piece;  // filled as far as it is used
  while (!reader_->isAtEnd()) {
    const std::size_t count = reader_->read(piece);
    collected_->append(std::span(piece).first(count));
    if (count == 0) reader_->await();
  }
}

void QVProcessDataCollector::stopReading() { reader_->stop(); }

}  // namespace QVFoundation
