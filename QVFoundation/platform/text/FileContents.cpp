#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/text/FileContents_p.h"
#include "QVFoundation/platform/text/SyntaxError_p.h"

namespace QVFoundation::detail {

namespace {

// Far more than settings and texts take. A file with holes can pretend to any size.
constexpr off_t mostBytes = 256 * 1024 * 1024;

class Descriptor {
public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }
  [[nodiscard]] int number() const noexcept { return number_; }

private:
  int number_;
};

[[noreturn]] void fail(const std::filesystem::path& path, int code) {
  const std::int64_t cocoaCode = code == ENOENT ? NSFileReadNoSuchFileError : NSFileReadUnknownError;
  throw NSError(std::string(NSCocoaErrorDomain), cocoaCode,
                {{NSLocalizedDescriptionKey, "The file \"" + path.string() + "\" could not be read: " +
                                                 std::generic_category().message(code)},
                 {NSFilePathErrorKey, path.string()},
                 {NSUnderlyingErrorKey, NSError(std::string(NSPOSIXErrorDomain), code)}});
}

NSError corruptFileError(const std::filesystem::path& path, const NSError& cause) {
  return {cause.domain(),
          cause.code(),
          {{NSLocalizedDescriptionKey,
            "The file \"" + path.string() + "\" could not be read: " + cause.localizedDescription()},
           {NSFilePathErrorKey, path.string()},
           {NSUnderlyingErrorKey, cause}}};
}

}  // namespace

NSData contentsOfFile(const std::filesystem::path& path) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status{};
  if (file.number() < 0 || fstat(file.number(), &status) != 0) fail(path, errno);
  if (!S_ISREG(status.st_mode)) fail(path, S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
  if (status.st_size > mostBytes) fail(path, EFBIG);

  // One byte more than the size that is told, to see the end; files of the kernel tell none at all.
  NSData bytes(static_cast<std::size_t>(status.st_size) + 1);
  std::size_t length = 0;
  while (true) {
    const ssize_t count = read(file.number(), bytes.data() + length, bytes.size() - length);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) fail(path, errno);
    if (count == 0) break;
    length += static_cast<std::size_t>(count);
    if (length > static_cast<std::size_t>(mostBytes)) fail(path, EFBIG);
    if (length == bytes.size()) bytes.resize(2 * length + 4096);
  }
  bytes.resize(length);
  return bytes;
}

std::optional<Dictionary> dictionaryFromFile(const std::filesystem::path& path,
                                             const std::function<Value(std::span<const std::byte>)>& parse,
                                             std::optional<NSError>* error) {
  NSData bytes;
  try {
    bytes = contentsOfFile(path);
  } catch (const NSError& problem) {
    if (error != nullptr) *error = problem;
    return {};
  }
  try {
    if (auto dictionary = parse(bytes).as<Dictionary>()) return dictionary;
    throw corruptError("it holds no dictionary");
  } catch (const NSError& problem) {
    if (error != nullptr) *error = corruptFileError(path, problem);
    return {};
  }
}

}  // namespace QVFoundation::detail
