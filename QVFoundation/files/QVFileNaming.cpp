#include "QVFoundation/files/QVFileNaming.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <string>

#include "QVFoundation/files/QVPathUtilities.h"
#include "QVFoundation/platform/files/FileLocation_p.h"
#include "QVFoundation/platform/files/PathComponents.h"
#include "QVFoundation/platform/text/Unicode.h"

namespace QVFoundation {

namespace {

std::string numberedName(std::string_view name, std::uint64_t number) {
  const std::string suffix = ' ' + std::to_string(number);
  std::string numbered = qv_stringByAppendingStringBeforePathExtension(name, suffix);
  if (numbered.size() <= NAME_MAX) return numbered;

  const std::size_t extension = pathExtension(name).size();
  const std::size_t tail = extension == 0 ? 0 : extension + 1;
  const std::size_t excess = numbered.size() - NAME_MAX;
  // An extension that leaves no room for anything else is none.
  if (name.size() <= tail + excess)
    return std::string(prefixOfBytes(name, NAME_MAX - suffix.size())) + suffix;
  const std::string_view stem = prefixOfBytes(name, name.size() - tail - excess);
  return std::string(stem).append(suffix).append(name.substr(name.size() - tail));
}

// Links are not followed: one that leads nowhere has taken its name, too.
bool isTaken(const detail::FileLocation& location) {
  struct statx status{};
  return location.status(detail::FollowLinks::no, STATX_TYPE, status) == 0;
}

}  // namespace

std::filesystem::path qv_uniqueFilePathForName(std::string_view name, PathView inDirectory) {
  std::string safeName(name);
  std::ranges::replace(safeName, '/', ':');
  const detail::Descriptor folder = detail::FileLocation(inDirectory).open(O_PATH | O_DIRECTORY);
  const auto locationOf = [&](const std::string& numbered) {
    return folder.isOpen() ? detail::FileLocation(folder.number(), numbered)
                           : detail::FileLocation(stringByAppendingPathComponent(inDirectory, numbered));
  };
  std::string candidate = safeName;
  for (std::uint64_t number = 2; candidate.empty() || isTaken(locationOf(candidate)); ++number) {
    candidate = numberedName(safeName, number);
  }
  return stringByAppendingPathComponent(inDirectory, candidate);
}

NSURL qv_uniqueFileURLForName(std::string_view name, const NSURL& inDirectory) {
  return qv_uniqueFilePathForName(name, inDirectory);
}

}  // namespace QVFoundation
