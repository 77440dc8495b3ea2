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

/// The name without some bytes before its extension, if it has as many.
std::string shortenedName(std::string_view name, std::size_t excess) {
  const std::size_t extension = pathExtension(name).size();
  const std::size_t tail = extension == 0 ? 0 : extension + 1;
  if (name.size() <= tail + excess) return std::string(name);
  const std::string_view stem = prefixOfBytes(name, name.size() - tail - excess);
  return std::string(stem).append(name.substr(name.size() - tail));
}

std::string numberedName(std::string_view name, std::uint64_t number) {
  const std::string suffix = ' ' + std::to_string(number);
  std::string numbered = qv_stringByAppendingStringBeforePathExtension(name, suffix);
  if (numbered.size() <= NAME_MAX) return numbered;
  const std::string shortened = shortenedName(name, numbered.size() - NAME_MAX);
  return qv_stringByAppendingStringBeforePathExtension(shortened, suffix);
}

// Links are not followed: one that leads nowhere has taken its name, too.
bool isTaken(const detail::Descriptor& folder, const std::string& name) {
  struct statx status{};
  const detail::FileLocation location(folder.number(), name);
  return folder.isOpen() && location.status(detail::FollowLinks::no, STATX_TYPE, status) == 0;
}

}  // namespace

std::filesystem::path qv_uniqueFilePathForName(std::string_view name, PathView inDirectory) {
  std::string safeName(name);
  std::ranges::replace(safeName, '/', ':');
  const detail::Descriptor folder = detail::FileLocation(inDirectory).open(O_PATH | O_DIRECTORY);
  std::string candidate = safeName;
  for (std::uint64_t number = 2; isTaken(folder, candidate); ++number) {
    candidate = numberedName(safeName, number);
  }
  return stringByAppendingPathComponent(inDirectory, candidate);
}

NSURL qv_uniqueFileURLForName(std::string_view name, const NSURL& inDirectory) {
  return qv_uniqueFilePathForName(name, inDirectory);
}

}  // namespace QVFoundation
