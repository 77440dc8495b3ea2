#include <algorithm>
#include <climits>
#include <string_view>
#include <utility>

#include "QVFoundation/platform/files/FileLocation_p.h"

namespace QVFoundation::detail {

namespace {

// Leaves room for the way to an open folder, see `pathWithoutFolder`.
constexpr std::size_t mostRest = PATH_MAX - 64;

/// The system would take the name that ends there.
bool hasZero(std::string_view text) noexcept { return text.find('\0') != std::string_view::npos; }

/// Calls where there is no error yet.
template <class Call>
int callUnless(int error, const Call& call) noexcept {
  if (error == 0) return uninterrupted(call);
  errno = error;
  return -1;
}

}  // namespace

FileLocation::FileLocation(int folder, std::string name) noexcept : borrowed_(folder) {
  if (hasZero(name)) {
    fail(ENOENT);
  } else {
    rest_ = std::move(name);
  }
}

FileLocation::FileLocation(PathView path) {
  std::string_view rest = path;
  if (hasZero(rest)) {
    fail(ENOENT);
    return;
  }
  while (rest.size() > mostRest) {
    const std::size_t slash = rest.rfind('/', mostRest);
    if (slash == std::string_view::npos) break;  // the system says what it says of such a name
    const std::string way(rest.substr(0, slash + 1));
    Descriptor next(uninterrupted(
        [&] { return systemCalls().open(folder(), way.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC, 0); }));
    if (!next.isOpen()) {
      fail(errno);
      return;
    }
    folder_ = std::move(next);
    rest.remove_prefix(slash);
    rest.remove_prefix(std::min(rest.find_first_not_of('/'), rest.size()));
    if (rest.empty()) rest = ".";
  }
  rest_ = rest;
}

void FileLocation::fail(int code) noexcept {
  error_ = code;
  folder_.close();
  borrowed_ = -1;
}

Descriptor FileLocation::open(int flags, mode_t mode) const noexcept {
  return Descriptor(
      callUnless(error_, [&] { return systemCalls().open(folder(), name(), flags | O_CLOEXEC, mode); }));
}

int FileLocation::status(FollowLinks follow, unsigned mask, struct statx& status) const noexcept {
  const int flags = follow == FollowLinks::no ? AT_SYMLINK_NOFOLLOW : 0;
  return callUnless(error_, [&] { return systemCalls().status(folder(), name(), flags, mask, &status); });
}

int FileLocation::makeFolder(mode_t mode) const noexcept {
  return callUnless(error_, [&] { return systemCalls().makeFolder(folder(), name(), mode); });
}

int FileLocation::remove(int flags) const noexcept {
  return callUnless(error_, [&] { return systemCalls().remove(folder(), name(), flags); });
}

int FileLocation::renameTo(const FileLocation& other, unsigned flags) const noexcept {
  return callUnless(error_ != 0 ? error_ : other.error_, [&] {
    return systemCalls().rename(folder(), name(), other.folder(), other.name(), flags);
  });
}

int FileLocation::linkTo(const FileLocation& other) const noexcept {
  return callUnless(error_ != 0 ? error_ : other.error_,
                    [&] { return systemCalls().link(folder(), name(), other.folder(), other.name(), 0); });
}

int FileLocation::readLink(std::string& text) const {
  for (std::size_t size = 256;; size *= 2) {
    text.resize(size);
    ssize_t length = -1;
    const int result = callUnless(error_, [&] {
      length = systemCalls().readLink(folder(), name(), text.data(), text.size());
      return length < 0 ? -1 : 0;
    });
    if (result < 0) return -1;
    if (static_cast<std::size_t>(length) < size) {
      text.resize(static_cast<std::size_t>(length));
      return 0;
    }
  }
}

std::string FileLocation::pathWithoutFolder() const {
  if (folder() == AT_FDCWD) return rest_;
  return "/proc/self/fd/" + std::to_string(folder()) + '/' + rest_;
}

}  // namespace QVFoundation::detail
