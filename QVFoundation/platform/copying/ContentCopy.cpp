#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <unistd.h>

#include "QVFoundation/platform/copying/ContentCopy_p.h"
#include "QVFoundation/platform/files/SystemCalls_p.h"

namespace QVFoundation::detail {

namespace {

constexpr std::size_t leastPortion = std::size_t{128} * 1024;
constexpr std::size_t firstPortion = std::size_t{1} << 20;
constexpr std::size_t mostPortion = std::size_t{8} << 20;

// Below that, one call that reads and one that writes take less time than the one that does both.
constexpr off_t leastToOffload = 64 * 1024;
constexpr off_t leastToLookInto = 64 * 1024;

/// What the system says of files, or of pairs of file systems, that it cannot clone or copy by itself.
bool meansOtherWay(int code) noexcept {
  switch (code) {
    case EOPNOTSUPP:
    case ENOTTY:
    case ENOSYS:
    case EXDEV:
    case EINVAL:
    case EPERM:
    case EBADF:
    case ETXTBSY:
    case EISDIR: return true;
    default: return false;
  }
}

/// And what it would say of all others as well.
bool isForGood(int code) noexcept {
  return code == EOPNOTSUPP || code == ENOTTY || code == ENOSYS || code == EXDEV;
}

/// More than a file that is copied without a word may have grown to.
constexpr off_t mostInSilence = off_t{2} << 20;

}  // namespace

ContentCopy::ContentCopy(int from, int to, const struct stat& status, const CopyOptions& options,
                         CopyAbilities& abilities, CopyBuffer& buffer, const Progress& progress)
    : from_(from),
      to_(to),
      status_(status),
      options_(options),
      abilities_(abilities),
      buffer_(buffer),
      progress_(progress),
      portion_(firstPortion) {}

int ContentCopy::run() {
  if (options_.method == CopyMethod::clone && clone()) return finish();
  offloads_ = status_.st_size >= leastToOffload && abilities_.canOffloadTo(to_);
  int code = hasHoles() ? copyAroundHoles() : 0;
  if (code == 0 && !isAtEnd_) code = copyAll();
  return code == 0 ? finish() : code;
}

bool ContentCopy::clone() {
  if (status_.st_size == 0 || !CopyAbilities::can(abilities_.clones)) return false;
  if (uninterrupted([&] { return systemCalls().clone(to_, from_); }) == 0) {
    way_ = Way::cloned;
    position_ = status_.st_size;
    return true;
  }
  if (isForGood(errno)) CopyAbilities::refuse(abilities_.clones);
  return false;  // whatever the reason: copying says what is really wrong
}

/// What is left, up to the end that is found.
int ContentCopy::copyAll() {
  constexpr off_t noEnd = off_t{1} << 62;
  return copyUntil(noEnd);
}

/// Blocks that lie behind the end, which some file systems reserve, make up for holes; so these are looked for.
bool ContentCopy::hasHoles() const {
  if (static_cast<off_t>(status_.st_blocks) * 512 < status_.st_size) return true;
  if (status_.st_size < leastToLookInto) return false;
  const off_t hole = systemCalls().seek(from_, 0, SEEK_HOLE);
  if (hole < 0) return false;
  // Where it cannot be read from its beginning any more, the way around holes says so.
  return hole < status_.st_size || systemCalls().seek(from_, 0, SEEK_SET) != 0;
}

int ContentCopy::copyAroundHoles() {
  const off_t end = status_.st_size;
  while (position_ < end && !isAtEnd_) {
    const off_t data = systemCalls().seek(from_, position_, SEEK_DATA);
    if (data < 0 && errno != ENXIO) {  // the file system cannot tell
      return position_ == 0 && systemCalls().seek(from_, 0, SEEK_SET) == 0 ? 0 : errno;
    }
    if (data < 0) break;  // nothing but a hole is left
    const off_t hole = systemCalls().seek(from_, data, SEEK_HOLE);
    if (hole < 0 && errno == ENXIO) break;  // it has been cut off in between
    if (hole < 0) return errno;
    position_ = data;
    if (systemCalls().seek(to_, data, SEEK_SET) < 0 || systemCalls().seek(from_, data, SEEK_SET) < 0) {
      return errno;
    }
    if (const int code = copyUntil(hole); code != 0) return code;
  }
  if (!isAtEnd_) {
    struct stat now{};
    if (systemCalls().stat(from_, &now) != 0) return errno;
    position_ = std::max(position_, std::min(end, now.st_size));
  }
  isAtEnd_ = true;
  return systemCalls().truncate(to_, position_) == 0 ? 0 : errno;
}

int ContentCopy::copyUntil(off_t end) {
  using Clock = std::chrono::steady_clock;
  using std::chrono::milliseconds;
  while (position_ < end && !isAtEnd_) {
    const auto start = progress_ ? Clock::now() : Clock::time_point();
    std::size_t copied = 0;
    const std::size_t size = std::min(portion_, static_cast<std::size_t>(end - position_));
    int code = copyOnce(size, copied);
    if (code != 0) return code;
    if (copied == 0) isAtEnd_ = true;
    position_ += static_cast<off_t>(copied);
    if (!progress_ && position_ > mostInSilence) return ECANCELED;
    if (!progress_ || copied == 0) continue;
    code = options_.flushPolicy == CopyFlushPolicy::written ? pace() : report();
    if (code != 0) return code;
    const auto taken = Clock::now() - start;
    if (taken < milliseconds(10)) portion_ = std::min(portion_ * 2, mostPortion);
    if (taken > milliseconds(40)) portion_ = std::max(portion_ / 2, leastPortion);
  }
  return 0;
}

int ContentCopy::copyOnce(std::size_t size, std::size_t& copied) {
  if (offloads_) {
    const int code = offload(size, copied);
    if (code == 0 && copied > 0) {
      way_ = Way::offloaded;
      return 0;
    }
    if (code != 0 && !meansOtherWay(code)) return code;
    if (isForGood(code)) CopyAbilities::refuse(abilities_.offloads);
    offloads_ = false;  // also at what seems to be the end: files of the kernel's own show it only by reading
  }
  return readAndWrite(size, copied);
}

int ContentCopy::offload(std::size_t size, std::size_t& copied) const {
  const ssize_t count =
      uninterrupted([&] { return systemCalls().copyRange(from_, nullptr, to_, nullptr, size, 0); });
  if (count < 0) return errno;
  copied = static_cast<std::size_t>(count);
  return 0;
}

int ContentCopy::readAndWrite(std::size_t size, std::size_t& copied) {
  while (copied < size && !isAtEnd_) {
    const std::size_t most = std::min(size - copied, CopyBuffer::size);
    const ssize_t count = uninterrupted([&] { return systemCalls().read(from_, buffer_.bytes(), most); });
    if (count < 0) return errno;
    if (const int code = writeAll(static_cast<std::size_t>(count)); code != 0) return code;
    copied += static_cast<std::size_t>(count);
    // A file that ends where it said is not read once more to see that.
    const off_t until = position_ + static_cast<off_t>(copied);
    const bool isShort = static_cast<std::size_t>(count) < most;
    isAtEnd_ = count == 0 || (isShort && until >= status_.st_size && status_.st_size > 0);
    if (count > 0) way_ = Way::copied;
  }
  return 0;
}

int ContentCopy::writeAll(std::size_t size) {
  for (std::size_t written = 0; written < size;) {
    const ssize_t part =
        uninterrupted([&] { return systemCalls().write(to_, buffer_.bytes() + written, size - written); });
    if (part < 0) return errno;
    if (part == 0) return EIO;
    written += static_cast<std::size_t>(part);
  }
  return 0;
}

/// Sends what has been copied on its way to the device, and waits for what was sent before.
int ContentCopy::pace() {
  const auto sync = [&](off_t from, off_t until, unsigned flags) {
    return until <= from ||
           uninterrupted([&] { return systemCalls().syncRange(to_, from, until - from, flags); }) == 0;
  };
  constexpr unsigned all = SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER;
  if (!sync(beingWrittenOut_, position_, SYNC_FILE_RANGE_WRITE) ||
      !sync(writtenOut_, beingWrittenOut_, all)) {
    return errno;
  }
  writtenOut_ = beingWrittenOut_;
  beingWrittenOut_ = position_;
  return report();
}

int ContentCopy::report() {
  const off_t done = options_.flushPolicy == CopyFlushPolicy::written ? writtenOut_ : position_;
  return !progress_ || progress_(done) ? 0 : ECANCELED;
}

/// Ranges leave out what says where they are, so that in the end the file is synchronized as a whole. Small
/// files, which report nothing, are so together.
int ContentCopy::finish() {
  if (!progress_) return 0;
  if (options_.flushPolicy == CopyFlushPolicy::written) {
    if (uninterrupted([&] { return systemCalls().syncData(to_); }) != 0) return errno;
    writtenOut_ = position_;
    return report();
  }
  return way_ == Way::cloned ? report() : 0;
}

}  // namespace QVFoundation::detail
