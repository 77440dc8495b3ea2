#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <random>
#include <string>
#include <string_view>
#include <sys/stat.h>

#include "QVFoundation/platform/files/Descriptor_p.h"
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

/// For one file of a kind that no other program knows of, so that chance will do.
std::string temporaryAliasName() {
  std::random_device random;
  return ".qv-alias-" + std::to_string(std::uint64_t{random()} << 32 | random());
}

/// Gives a file its name unless that is taken. Returns 0 or an `errno`.
int renameNewAliasFile(const FileLocation& file, const FileLocation& target) noexcept {
  if (file.renameTo(target, RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;  // else the file system does not know this way
  const int result = uninterrupted(
      [&] { return systemCalls().link(file.folder(), file.name(), target.folder(), target.name(), 0); });
  if (result != 0) return errno;
  (void)file.remove(0);
  return 0;
}

/// Returns 0 or an `errno`; then there is nothing of the file.
int writeNewAliasFile(std::string_view absolutePath, std::string_view content) {
  const std::string_view folderPath = detail::folderOf(absolutePath);
  const Descriptor folder = FileLocation(folderPath).open(O_PATH | O_DIRECTORY);
  if (!folder.isOpen()) return errno;
  const FileLocation temporary(folder.number(), temporaryAliasName());
  const FileLocation target(folder.number(), std::string(absolutePath.substr(absolutePath.rfind('/') + 1)));

  const Descriptor file = temporary.open(O_WRONLY | O_CREAT | O_EXCL, 0666);
  if (!file.isOpen()) return errno;
  std::size_t written = 0;
  int code = writeAll(file.number(), detail::OutputKind::file, content, written);
  if (code == 0 && uninterrupted([&] { return systemCalls().sync(file.number()); }) != 0) code = errno;
  if (code == 0) code = renameNewAliasFile(temporary, target);
  if (code != 0) (void)temporary.remove(0);
  return code;
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
