#include "QVFoundation/platform/tracing/TraceFileSink.h"

#include <cerrno>
#include <fcntl.h>
#include <string_view>
#include <system_error>
#include <tuple>
#include <unistd.h>
#include <utility>

#include "QVFoundation/platform/files/FileOutput_p.h"
#include "QVFoundation/platform/files/SystemCalls_p.h"
#include "QVFoundation/platform/tracing/NSLog.h"
#include "QVFoundation/platform/tracing/TraceEvents_p.h"

namespace QVFoundation {

namespace {

constexpr std::size_t manyRecords = 64UL * 1024;
constexpr std::chrono::seconds longPause{1};

int openNew(const std::filesystem::path& path) {
  const int descriptor =
      detail::systemCalls().open(AT_FDCWD, path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
  if (descriptor < 0) throw std::system_error(errno, std::generic_category(), path.native());
  return descriptor;
}

}  // namespace

TraceFileSink::TraceFileSink(std::filesystem::path path)
    : path_(std::move(path)),
      process_(getpid()),
      events_(std::make_unique<detail::TraceEvents>(process_)),
      records_("[\n" + events_->firstRecord()),
      lastWrite_(std::chrono::steady_clock::now()),
      descriptor_(openNew(path_)) {}

TraceFileSink::~TraceFileSink() {
  if (descriptor_ < 0) return;
  if (!isInForkedProcess()) {
    records_ += "\n]\n";
    const int code = writeRecords();
    if (code != 0) NSLog("Could not record signposts: %@: %s", path_, std::generic_category().message(code));
  }
  close();
}

void TraceFileSink::write(const OSSignpost& signpost) {
  if (isInForkedProcess()) return;
  const MutexLock lock(mutex_);
  if (descriptor_ < 0) return;
  std::string records;
  events_->append(records, signpost);
  records_ += records;  // all of them or, without memory, none
  if (records_.size() < manyRecords && signpost.time - lastWrite_ < longPause) return;
  lastWrite_ = signpost.time;
  writeRecordsOrThrow();
}

void TraceFileSink::nameLane(OSSignpostID lane, std::string_view name) {
  if (isInForkedProcess()) return;
  const MutexLock lock(mutex_);
  if (descriptor_ < 0) return;
  std::string record;
  events_->appendName(record, lane, name);
  records_ += record;
}

void TraceFileSink::flush() {
  if (isInForkedProcess()) return;
  const MutexLock lock(mutex_);
  if (descriptor_ >= 0) writeRecordsOrThrow();
}

/// There another thread may have held the lock, and what was not yet written is written by the original.
bool TraceFileSink::isInForkedProcess() const noexcept { return getpid() != process_; }

void TraceFileSink::writeRecordsOrThrow() {
  const int code = writeRecords();
  if (code != 0) throw std::system_error(code, std::generic_category(), path_.native());
}

/// Returns 0, or the `errno` of what went wrong.
int TraceFileSink::writeRecords() noexcept {
  std::size_t written = 0;
  const int code = detail::writeAll(descriptor_, detail::OutputKind::file, records_, written);
  records_.clear();
  if (code == 0) {
    size_ += static_cast<off_t>(written);
  } else {
    std::ignore = ftruncate(descriptor_, size_);  // viewers stumble over half of a record
    close();
  }
  return code;
}

void TraceFileSink::close() noexcept {
  if (descriptor_ >= 0) detail::systemCalls().close(descriptor_);
  descriptor_ = -1;
}

}  // namespace QVFoundation
