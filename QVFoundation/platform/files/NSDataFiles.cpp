#include "QVFoundation/platform/files/NSDataFiles.h"

#include <fcntl.h>
#include <string_view>

#include "QVFoundation/platform/files/AtomicFile_p.h"
#include "QVFoundation/platform/files/FileContents_p.h"
#include "QVFoundation/platform/files/FileErrors_p.h"
#include "QVFoundation/platform/files/FileOutput_p.h"

namespace QVFoundation {

namespace {

// Each returns 0, or an `errno`.

int writeBytes(int descriptor, std::span<const std::byte> data) {
  std::size_t written = 0;
  const std::string_view text(reinterpret_cast<const char*>(data.data()), data.size());
  return detail::writeAll(descriptor, detail::outputKindOf(descriptor), text, written);
}

int writeInPlace(std::span<const std::byte> data, PathView path) {
  detail::Descriptor file = detail::FileLocation(path).open(O_WRONLY | O_CREAT | O_TRUNC, 0666);
  if (!file.isOpen()) return errno;
  if (const int code = writeBytes(file.number(), data); code != 0) return code;
  // Some file systems say only now that they could not keep what they took (close(2)).
  return detail::systemCalls().close(file.release()) == 0 || errno == EINTR ? 0 : errno;
}

int writeAtomically(std::span<const std::byte> data, PathView path, detail::AtomicFile::Existing existing) {
  detail::AtomicFile file(path, existing);
  if (const int code = file.open(); code != 0) return code;
  if (const int code = writeBytes(file.descriptor(), data); code != 0) return code;
  return file.commit();
}

int write(std::span<const std::byte> data, PathView path, NSDataWritingOptions options) {
  using Existing = detail::AtomicFile::Existing;
  switch (options) {
    case NSDataWritingOptions::none: break;
    case NSDataWritingOptions::atomic: return writeAtomically(data, path, Existing::replace);
    case NSDataWritingOptions::atomicWithoutOverwriting: return writeAtomically(data, path, Existing::refuse);
  }
  return writeInPlace(data, path);
}

}  // namespace

std::optional<NSData> dataWithContentsOfFile(PathView path, NSDataReadingOptions options,
                                             std::optional<NSError>* error) {
  try {
    return detail::contentsOfFile(path, detail::mostBytesOfFile, options);
  } catch (const NSError& problem) {
    if (error != nullptr) *error = problem;
    return {};
  }
}

bool writeDataToFile(std::span<const std::byte> data, PathView path, NSDataWritingOptions options,
                     std::optional<NSError>* error) {
  const int code = write(data, path, options);
  if (code != 0 && error != nullptr) *error = detail::fileWriteError(path, "written", code);
  return code == 0;
}

}  // namespace QVFoundation
