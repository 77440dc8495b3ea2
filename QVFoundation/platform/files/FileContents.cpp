#include <cstddef>
#include <fcntl.h>

#include "QVFoundation/platform/files/FileContents_p.h"
#include "QVFoundation/platform/files/FileErrors_p.h"
#include "QVFoundation/platform/files/FileLocation_p.h"

namespace QVFoundation::detail {

namespace {

/// The bytes; empty and a code other than 0 where they cannot be read.
int readFile(const Descriptor& file, std::size_t mostBytes, NSData& bytes) {
  struct stat status{};
  if (systemCalls().stat(file.number(), &status) != 0) return errno;
  if (!S_ISREG(status.st_mode)) return S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
  if (status.st_size > static_cast<off_t>(mostBytes)) return EFBIG;

  // One byte more than the size that is told, to see the end; files of the kernel tell none at all.
  bytes.resize(static_cast<std::size_t>(status.st_size) + 1);
  std::size_t length = 0;
  for (;;) {
    const ssize_t count = uninterrupted(
        [&] { return systemCalls().read(file.number(), bytes.data() + length, bytes.size() - length); });
    if (count < 0) return errno;
    if (count == 0) break;
    length += static_cast<std::size_t>(count);
    if (length > mostBytes) return EFBIG;
    if (length == bytes.size()) bytes.resize(2 * length + 4096);
  }
  bytes.resize(length);
  return 0;
}

}  // namespace

NSData contentsOfFile(PathView path, std::size_t mostBytes, NSDataReadingOptions options) {
  const Descriptor file = FileLocation(path).open(O_RDONLY | O_NONBLOCK | O_NOCTTY);
  NSData bytes;
  const int code = file.isOpen() ? readFile(file, mostBytes, bytes) : errno;
  if (code != 0) throw fileReadError(path, code);
  if (options == NSDataReadingOptions::uncached) posix_fadvise(file.number(), 0, 0, POSIX_FADV_DONTNEED);
  return bytes;
}

}  // namespace QVFoundation::detail
