#include "QVFoundation/platform/files/NSFileHandle.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "QVFoundation/platform/files/FileLocation_p.h"
#include "QVFoundation/platform/files/FileOutput_p.h"
#include "QVFoundation/platform/files/SystemCalls_p.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {

namespace {

const std::shared_ptr<NSFileHandle>& standardHandle(int descriptor) {
  // Never destroyed: somebody may write until the very end.
  static const auto& handles = *new std::array{
      std::make_shared<NSFileHandle>(STDIN_FILENO),
      std::make_shared<NSFileHandle>(STDOUT_FILENO),
      std::make_shared<NSFileHandle>(STDERR_FILENO),
  };
  return handles.at(static_cast<std::size_t>(descriptor));
}

}  // namespace

NSFileHandle::NSFileHandle(int descriptor, CloseOnRelease closeOnRelease, std::filesystem::path path)
    : descriptor_(descriptor), closeOnRelease_(closeOnRelease), path_(std::move(path)) {}

NSFileHandle::~NSFileHandle() {
  stopWaitingForData();
  if (closeOnRelease_ == CloseOnRelease::yes) closeFile();
}

const std::shared_ptr<NSFileHandle>& NSFileHandle::standardInput() { return standardHandle(STDIN_FILENO); }

const std::shared_ptr<NSFileHandle>& NSFileHandle::standardOutput() { return standardHandle(STDOUT_FILENO); }

const std::shared_ptr<NSFileHandle>& NSFileHandle::standardError() { return standardHandle(STDERR_FILENO); }

std::shared_ptr<NSFileHandle> NSFileHandle::fileHandleWithNullDevice() {
  constexpr const char* path = "/dev/null";
  const int descriptor = openDescriptor(path, O_RDWR);
  return descriptor < 0 ? nullptr : std::make_shared<NSFileHandle>(descriptor, CloseOnRelease::yes, path);
}

std::shared_ptr<NSFileHandle> NSFileHandle::fileHandleForReadingAtPath(PathView path) {
  const int descriptor = openDescriptor(path, O_RDONLY);
  return descriptor < 0 ? nullptr
                        : std::make_shared<NSFileHandle>(descriptor, CloseOnRelease::yes, path.text());
}

std::shared_ptr<NSFileHandle> NSFileHandle::fileHandleForWritingAtPath(PathView path) {
  const int descriptor = openDescriptor(path, O_WRONLY);
  return descriptor < 0 ? nullptr
                        : std::make_shared<NSFileHandle>(descriptor, CloseOnRelease::yes, path.text());
}

int NSFileHandle::openDescriptor(PathView path, int flags, mode_t mode) {
  return detail::FileLocation(path).open(flags, mode).release();
}

NSData NSFileHandle::readDataOfLength(std::size_t length) {
  constexpr std::size_t chunk = 64 * 1024;
  NSData data;
  while (data.size() < length) {
    const std::size_t before = data.size();
    data.resize(before + std::min(chunk, length - before));
    const std::size_t count = read(std::span(data).subspan(before));
    data.resize(before + count);
    if (count == 0) break;
  }
  return data;
}

NSData NSFileHandle::readDataToEndOfFile() { return readDataOfLength(NSData().max_size()); }

NSData NSFileHandle::availableData() {
  constexpr std::size_t chunk = 64 * 1024;
  int known = 0;
  if (detail::systemCalls().available(fileDescriptor(), &known) != 0 || known < 0) known = 0;
  NSData data(known > 0 ? static_cast<std::size_t>(known) : chunk);
  data.resize(read(data));
  return data;
}

// Reading takes no lock: it may wait for ever, and must not keep others from writing or closing.
std::size_t NSFileHandle::read(std::span<std::byte> buffer) {
  for (;;) {
    const ssize_t count = detail::systemCalls().read(fileDescriptor(), buffer.data(), buffer.size());
    if (count >= 0) return static_cast<std::size_t>(count);
    const int code = errno;
    if (code == EAGAIN) {
      pollfd request{fileDescriptor(), POLLIN, 0};
      if (detail::systemCalls().poll(&request, 1, -1) < 0 && errno != EINTR) fail("read", errno);
    } else if (code != EINTR) {
      fail("read", code);
    }
  }
}

void NSFileHandle::writeData(std::span<const std::byte> data) {
  writeText({reinterpret_cast<const char*>(data.data()), data.size()});
}

void NSFileHandle::writeText(std::string_view text) {
  const UnfairLockGuard guard(lock_);
  std::size_t written = 0;
  const int failure = detail::writeAll(fileDescriptor(), outputKind(), text, written);
  if (failure != 0) fail("write to", failure);
}

[[gnu::hot]] void NSFileHandle::appendLine(std::string_view line) {
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): filled as far as it is used
  std::array<char, 2048> buffer;
  std::string longLine;
  std::span<char> whole(buffer);
  if (line.size() + 2 > whole.size()) {
    longLine.resize(line.size() + 2);
    whole = longLine;
  }
  // A line break in front, which is left out unless the line before was cut, and one behind.
  whole[0] = '\n';
  std::copy(line.begin(), line.end(), whole.begin() + 1);
  whole[line.size() + 1] = '\n';

  const UnfairLockGuard guard(lock_);
  const std::string_view text = std::string_view(whole.data(), line.size() + 2).substr(lineIsCut_ ? 0 : 1);
  std::size_t written = 0;
  const int failure = detail::writeAll(fileDescriptor(), outputKind(), text, written);
  if (written > 0) lineIsCut_ = text[written - 1] != '\n';
  if (failure != 0) fail("write to", failure);
}

// A descriptor that belongs to somebody else may be led elsewhere at any time (dup2), so it is looked at for
// each write.
detail::OutputKind NSFileHandle::outputKind() noexcept {
  if (closeOnRelease_ != CloseOnRelease::yes) return detail::outputKindOf(fileDescriptor());
  if (!outputKind_) outputKind_ = detail::outputKindOf(fileDescriptor());
  return *outputKind_;
}

void NSFileHandle::synchronizeFile() {
  while (detail::systemCalls().sync(fileDescriptor()) != 0) {
    if (errno == EINVAL) return;  // nothing that could be synchronized (fsync(2))
    if (errno != EINTR) fail("synchronize", errno);
  }
}

void NSFileHandle::closeFile() {
  if (closeOnRelease_ == CloseOnRelease::no && fileDescriptor() <= STDERR_FILENO) return;
  stopWaitingForData();
  int descriptor = -1;
  {
    const UnfairLockGuard guard(lock_);
    descriptor = descriptor_.exchange(-1, std::memory_order_relaxed);
  }
  // Not repeated when interrupted: on Linux the descriptor is gone all the same (close(2)).
  if (descriptor >= 0) detail::systemCalls().close(descriptor);
}

void NSFileHandle::fail(std::string_view action, int code) const {
  const int descriptor = fileDescriptor();
  std::string file =
      descriptor < 0 ? "the closed file handle" : "file descriptor " + std::to_string(descriptor);
  if (!path_.empty()) file = "“" + path_.string() + "”";
  throw NSException(NSFileHandleOperationException, "Could not " + std::string(action) + ' ' + file + ": " +
                                                        std::generic_category().message(code));
}

Dictionary NSFileHandle::debugDictionary() const {
  Dictionary dictionary = NSObject::debugDictionary();
  dictionary.set("fileDescriptor", fileDescriptor());
  if (!path_.empty()) dictionary.set("path", path_.string());
  return dictionary;
}

}  // namespace QVFoundation
