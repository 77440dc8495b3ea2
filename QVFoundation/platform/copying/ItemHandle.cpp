#include <fcntl.h>

#include "QVFoundation/platform/copying/ItemHandle_p.h"
#include "QVFoundation/platform/files/FileLocation_p.h"

namespace QVFoundation::detail {

ItemHandle::ItemHandle(int folder, const char* name)
    : folder_(folder), name_(name), path_(FileLocation(folder, name).pathWithoutFolder()) {}

int ItemHandle::status(struct stat& status) const noexcept {
  if (isOpen()) return systemCalls().stat(descriptor_, &status);
  return uninterrupted([&] { return systemCalls().statAt(folder_, name_, &status, AT_SYMLINK_NOFOLLOW); });
}

int ItemHandle::changeOwner(uid_t owner, gid_t group) const noexcept {
  return uninterrupted([&] {
    return isOpen() ? systemCalls().changeOwner(descriptor_, owner, group)
                    : systemCalls().changeOwnerAt(folder_, name_, owner, group, AT_SYMLINK_NOFOLLOW);
  });
}

int ItemHandle::changeMode(mode_t mode) const noexcept {
  return uninterrupted([&] {
    return isOpen() ? systemCalls().changeMode(descriptor_, mode)
                    : systemCalls().changeModeAt(folder_, name_, mode, AT_SYMLINK_NOFOLLOW);
  });
}

int ItemHandle::setTimes(const timespec* times) const noexcept {
  return uninterrupted([&] {
    return isOpen() ? systemCalls().setTimes(descriptor_, times)
                    : systemCalls().setTimesAt(folder_, name_, times, AT_SYMLINK_NOFOLLOW);
  });
}

ssize_t ItemHandle::listAttributes(std::span<char> list) const noexcept {
  return uninterrupted([&] {
    return isOpen() ? systemCalls().listAttributesOf(descriptor_, list.data(), list.size())
                    : systemCalls().listAttributes(path_.c_str(), list.data(), list.size());
  });
}

ssize_t ItemHandle::getAttribute(const char* name, std::span<std::byte> value) const noexcept {
  return uninterrupted([&] {
    return isOpen() ? systemCalls().getAttributeOf(descriptor_, name, value.data(), value.size())
                    : systemCalls().getAttribute(path_.c_str(), name, value.data(), value.size());
  });
}

int ItemHandle::setAttribute(const char* name, std::span<const std::byte> value) const noexcept {
  return uninterrupted([&] {
    return isOpen() ? systemCalls().setAttributeOf(descriptor_, name, value.data(), value.size(), 0)
                    : systemCalls().setAttribute(path_.c_str(), name, value.data(), value.size(), 0);
  });
}

int ItemHandle::removeAttribute(const char* name) const noexcept {
  return uninterrupted([&] {
    return isOpen() ? systemCalls().removeAttributeOf(descriptor_, name)
                    : systemCalls().removeAttribute(path_.c_str(), name);
  });
}

}  // namespace QVFoundation::detail
