#include "QVFoundation/files/QVExtendedAttributes.h"

#include <algorithm>
#include <array>

#include "QVFoundation/errors/QVErrorConstructors.h"
#include "QVFoundation/platform/application/LocalizedText_p.h"
#include "QVFoundation/platform/files/FileLocation_p.h"

namespace QVFoundation {

namespace {

constexpr std::size_t leastSizeThatIsNotRead = 4096;
constexpr std::string_view userSpace = "user.";
constexpr std::array<std::string_view, 4> nameSpaces = {userSpace, "security.", "system.", "trusted."};
constexpr std::array<std::string_view, 2> hiddenNames = {"com.apple.FinderInfo", "com.apple.ResourceFork"};

bool isInNameSpace(std::string_view name) {
  return std::ranges::any_of(nameSpaces, [&](std::string_view space) { return name.starts_with(space); });
}

std::string nameForSystem(std::string_view name) {
  return isInNameSpace(name) ? std::string(name) : std::string(userSpace).append(name);
}

std::string_view nameForCallers(std::string_view systemName) {
  if (!systemName.starts_with(userSpace)) return systemName;
  const std::string_view name = systemName.substr(userSpace.size());
  return name.empty() || isInNameSpace(name) ? systemName : name;
}

/// The attributes of one item.
class Attributes {
public:
  explicit Attributes(PathView path) : location_(path), path_(location_.pathWithoutFolder()) {}

  // Each as the system's call, with `errno`.
  ssize_t list(char* names, std::size_t size) const {
    return at([&] { return detail::systemCalls().listAttributes(path_.c_str(), names, size); });
  }
  ssize_t get(std::string_view name, std::byte* value, std::size_t size) const {
    return withListedName(name, [&](const char* systemName) {
      return detail::systemCalls().getAttribute(path_.c_str(), systemName, value, size);
    });
  }
  ssize_t set(std::string_view name, std::span<const std::byte> value) const {
    return withSystemName(name, [&](const char* systemName) -> ssize_t {
      return detail::systemCalls().setAttribute(path_.c_str(), systemName, value.data(), value.size(), 0);
    });
  }
  ssize_t remove(std::string_view name) const {
    return withListedName(name, [&](const char* systemName) -> ssize_t {
      return detail::systemCalls().removeAttribute(path_.c_str(), systemName);
    });
  }

private:
  template <class Call>
  ssize_t at(const Call& call) const {
    if (location_.error() == 0) return detail::uninterrupted(call);
    errno = location_.error();
    return -1;
  }
  template <class Call>
  ssize_t withSystemName(std::string_view name, const Call& call) const {
    if (name.find('\0') != std::string_view::npos) {  // the system would take the name that ends there
      errno = EINVAL;
      return -1;
    }
    const std::string systemName = nameForSystem(name);
    return at([&] { return call(systemName.c_str()); });
  }
  /// The same for what is there already: where there is none of "user.", it may be one of a namespace that
  /// only its file system knows.
  template <class Call>
  ssize_t withListedName(std::string_view name, const Call& call) const {
    const ssize_t result = withSystemName(name, call);
    if (result >= 0 || errno != ENODATA || isInNameSpace(name)) return result;
    const std::string listed(name);
    const ssize_t other = at([&] { return call(listed.c_str()); });
    if (other < 0) errno = ENODATA;
    return other;
  }

  detail::FileLocation location_;
  std::string path_;
};

/// Reads what has a size that is asked for first. Where it has grown in between it is asked for again.
template <class Read>
ssize_t readWhatHasGrown(const Read& read) {
  constexpr int mostAttempts = 16;
  ssize_t size = -1;
  for (int attempt = 0; attempt < mostAttempts; ++attempt) {
    size = read();
    if (size >= 0 || errno != ERANGE) break;
  }
  return size;
}

std::optional<NSError> attributeError(ssize_t result, std::string_view text, std::string_view name,
                                      PathView path) {
  if (result >= 0) return {};
  const int code = errno;  // before the text is made
  return POSIXError(code, detail::localizedText(text, name, path.text()));
}

}  // namespace

std::vector<std::string> qv_extendedAttributeNamesAtPath(PathView path, std::optional<NSError>* error) {
  const Attributes attributes(path);
  std::string list;
  const ssize_t size = readWhatHasGrown([&]() -> ssize_t {
    const ssize_t expected = attributes.list(nullptr, 0);
    if (expected < 0) {
      const int code = errno;
      if (error != nullptr) {
        *error = POSIXError(code, detail::localizedText(
                                      "Unable to read extended attribute names for path “%@”.", path.text()));
      }
      return 0;
    }
    list.resize(static_cast<std::size_t>(expected));
    return expected == 0 ? 0 : attributes.list(list.data(), list.size());
  });
  // Names that cannot be read though their size could are none, and no error. This is intended.
  std::string_view rest(list.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));

  std::vector<std::string> names;
  while (!rest.empty()) {
    const std::string_view systemName = rest.substr(0, rest.find('\0'));
    rest.remove_prefix(std::min(systemName.size() + 1, rest.size()));
    const std::string_view name = nameForCallers(systemName);
    if (std::ranges::find(hiddenNames, name) == hiddenNames.end()) names.emplace_back(name);
  }
  return names;
}

std::optional<NSData> qv_extendedAttributeForName(std::string_view name, PathView atPath,
                                                  std::optional<NSError>* error) {
  const Attributes attributes(atPath);
  NSData value;
  const ssize_t size = readWhatHasGrown([&]() -> ssize_t {
    const ssize_t expected = attributes.get(name, nullptr, 0);
    if (expected < 0) return expected;
    value.assign(static_cast<std::size_t>(expected), std::byte{});
    if (expected == 0 || value.size() >= leastSizeThatIsNotRead) return expected;
    return attributes.get(name, value.data(), value.size());
  });
  if (auto problem =
          attributeError(size, "Could not retrieve extended attribute “%@” for path “%@”.", name, atPath)) {
    if (error != nullptr) *error = std::move(problem);
    return {};
  }
  value.resize(static_cast<std::size_t>(size));
  return value;
}

std::optional<NSError> qv_setExtendedAttribute(std::span<const std::byte> data, std::string_view forName,
                                               PathView atPath) {
  return attributeError(Attributes(atPath).set(forName, data),
                        "Could not set extended attribute “%@” for path “%@”.", forName, atPath);
}

std::optional<NSError> qv_removeExtendedAttributeWithName(std::string_view name, PathView atPath) {
  return attributeError(Attributes(atPath).remove(name),
                        "Could not remove extended attribute “%@” for path “%@”.", name, atPath);
}

}  // namespace QVFoundation
