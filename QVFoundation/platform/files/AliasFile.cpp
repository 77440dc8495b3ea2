#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/stat.h>

#include "QVFoundation/platform/files/AtomicFile_p.h"
#include "QVFoundation/platform/files/FileErrors_p.h"
#include "QVFoundation/platform/files/FileOutput_p.h"
#include "QVFoundation/platform/files/FileRecord_p.h"
#include "QVFoundation/platform/files/FileReference.h"

namespace QVFoundation {

// An alias file is a line that says what it is, and then the bytes of a reference.

namespace {

using detail::Descriptor;
using detail::FileLocation;
using detail::fileReadError;
using detail::systemCalls;
using detail::uninterrupted;

constexpr std::string_view aliasFileMagic = "QVFoundation alias file\n";
constexpr std::size_t mostAliasFileBytes = 2 * detail::mostPathBytes + 4096;  // two paths, and the rest

/// 0, or an `errno`; then there is nothing of the file.
int writeNewAliasFile(const std::string& path, std::string_view content) {
  detail::AtomicFile file(path, detail::AtomicFile::Existing::refuse);
  if (const int code = file.open(); code != 0) return code;
  std::size_t written = 0;
  const int code = writeAll(file.descriptor(), detail::OutputKind::file, content, written);
  return code != 0 ? code : file.commit();
}

/// The content of a regular file that is not too long for an alias file, or the beginning of it. Nothing else
/// is opened, so that no pipe can hold up the caller.
std::string aliasFileContent(PathView path, std::size_t mostBytes) {
  const FileLocation location(path);
  const auto identity = detail::identityOf(location);
  if (!identity) throw fileReadError(path, errno);
  if (identity->type != S_IFREG) throw fileReadError(path, EINVAL);
  const Descriptor file = location.open(O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY);
  struct stat status{};
  if (!file.isOpen() || systemCalls().stat(file.number(), &status) != 0) throw fileReadError(path, errno);
  if (!S_ISREG(status.st_mode)) throw fileReadError(path, EINVAL);
  if (static_cast<std::uintmax_t>(status.st_size) > mostAliasFileBytes) throw fileReadError(path, EFBIG);

  std::string content(std::min(static_cast<std::size_t>(status.st_size), mostBytes), '\0');
  std::size_t length = 0;
  while (length < content.size()) {
    const ssize_t count = uninterrupted(
        [&] { return systemCalls().read(file.number(), content.data() + length, content.size() - length); });
    if (count < 0) throw fileReadError(path, errno);
    if (count == 0) break;
    length += static_cast<std::size_t>(count);
  }
  content.resize(length);
  return content;
}

NSError damagedAliasFile(PathView path, std::string_view reason, const std::optional<NSError>& cause = {}) {
  const std::string text(path);
  return {NSCocoaErrorDomain,
          NSCoderReadCorruptError,
          {{NSLocalizedDescriptionKey, "The file \"" + text + "\" could not be read: " + std::string(reason)},
           {NSFilePathErrorKey, text},
           {NSUnderlyingErrorKey, cause}}};
}

}  // namespace

bool FileReference::writeAliasFile(PathView path, std::optional<NSError>* error) const {
  return detail::handingBack(error,
                             [&] {
                               std::string content(aliasFileMagic);
                               const NSData bytes = data();
                               content.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
                               const int code =
                                   bytes.empty() ? EINVAL
                                                 : writeNewAliasFile(detail::absolutePathTo(path), content);
                               if (code != 0) throw detail::fileWriteError(path, "written", code);
                               return true;
                             })
      .has_value();
}

bool FileReference::isAliasFile(PathView path) {
  return detail::handingBack(nullptr,
                             [&] { return aliasFileContent(path, aliasFileMagic.size()) == aliasFileMagic; })
      .value_or(false);
}

std::optional<FileReference> FileReference::fromAliasFile(PathView path, std::optional<NSError>* error) {
  return detail::handingBack(error, [&] {
    const std::string content = aliasFileContent(path, mostAliasFileBytes);
    if (!content.starts_with(aliasFileMagic)) throw damagedAliasFile(path, "it is no alias file");
    const auto bytes = std::as_bytes(std::span(content)).subspan(aliasFileMagic.size());
    try {
      return FileReference(detail::recordFromData(bytes));
    } catch (const NSError& cause) {
      throw damagedAliasFile(path, cause.localizedDescription(), cause);
    }
  });
}

}  // namespace QVFoundation
