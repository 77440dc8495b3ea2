#include "QVFoundation/platform/files/NSFileManager.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <optional>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

#include "QVFoundation/platform/files/FileErrors_p.h"
#include "QVFoundation/platform/files/FileLocation_p.h"
#include "QVFoundation/platform/files/ItemIdentity_p.h"
#include "QVFoundation/platform/files/MountTable_p.h"
#include "QVFoundation/platform/files/PathComponents.h"

namespace QVFoundation {

namespace {

using detail::Descriptor;
using detail::FileLocation;
using detail::FollowLinks;
using detail::ItemIdentity;

// Each returns 0, or an `errno`.

int identify(const FileLocation& location, FollowLinks follow, ItemIdentity& identity,
             std::uint64_t* mount = nullptr) {
  struct statx status{};
  if (location.status(follow, STATX_INO | STATX_MNT_ID, status) != 0) return errno;
  identity = ItemIdentity::of(status);
  if (mount != nullptr) *mount = status.stx_mnt_id;
  return 0;
}

int identifyFolder(PathView path, ItemIdentity& identity) {
  const Descriptor folder = FileLocation(path).open(O_PATH | O_DIRECTORY);
  return folder.isOpen() ? identify(FileLocation(folder.number(), "."), FollowLinks::no, identity) : errno;
}

/// The item itself and the folders above it, up to the root.
int identifyWay(PathView item, std::vector<ItemIdentity>& way) {
  const FileLocation location(item);
  ItemIdentity identity;
  if (const int code = identify(location, FollowLinks::no, identity); code != 0) return code;
  way.push_back(identity);

  // A folder knows what it is in, whatever the path says; of anything else the path has to say it.
  Descriptor next = location.open(O_PATH | O_DIRECTORY | O_NOFOLLOW);
  if (!next.isOpen()) {
    const std::string folder = stringByDeletingLastPathComponent(item);
    next = FileLocation(folder.empty() ? std::string(".") : folder).open(O_PATH | O_DIRECTORY);
  }
  std::uint64_t mount = 0;
  std::optional<std::uint64_t> mountBelow;
  for (; next.isOpen(); next = FileLocation(next.number(), "..").open(O_PATH | O_DIRECTORY)) {
    if (const int code = identify(FileLocation(next.number(), "."), FollowLinks::no, identity, &mount);
        code != 0)
      return code;
    // Only the root is in itself. A folder that is mounted in itself is so as another volume.
    if (mountBelow == mount && way.back() == identity) return 0;
    mountBelow = mount;
    if (way.back() != identity) way.push_back(identity);
  }
  return errno;
}

NSURLRelationship relationship(const ItemIdentity& folder, const std::vector<ItemIdentity>& way) {
  if (way.front() == folder) return NSURLRelationship::same;
  const bool contains = std::ranges::find(way, folder) != way.end();
  return contains ? NSURLRelationship::contains : NSURLRelationship::other;
}

/// The item, in a form that can be asked about; nothing, and the reason in `error`, where it cannot.
std::optional<std::vector<ItemIdentity>> wayTo(const NSURL& item, std::optional<NSError>* error) {
  std::vector<ItemIdentity> way;
  const int code = item.isFileURL() ? identifyWay(item, way) : 0;
  if (item.isFileURL() && code == 0) return way;
  if (error != nullptr) {
    *error = item.isFileURL() ? detail::fileReadError(item, code)
                              : detail::unsupportedSchemeError(item.absoluteString());
  }
  return {};
}

/// Where this user's trash on another volume may be (Trash 1.0, freedesktop.org).
std::vector<std::filesystem::path> trashesOnVolume(PathView item) {
  // A link is where it is, not where it leads to.
  const auto mount = detail::mountOf(FileLocation(stringByDeletingLastPathComponent(item)));
  if (!mount) return {};
  const std::filesystem::path top(mount->path);
  const std::string user = std::to_string(geteuid());
  return {top / ".Trash" / user, top / (".Trash-" + user)};
}

}  // namespace

std::optional<NSURLRelationship> NSFileManager::getRelationship(const NSURL& ofDirectory, const NSURL& toItem,
                                                                std::optional<NSError>* error) const {
  if (!ofDirectory.isFileURL()) {
    if (error != nullptr) *error = detail::unsupportedSchemeError(ofDirectory.absoluteString());
    return {};
  }
  const auto way = wayTo(toItem, error);
  if (!way) return {};
  ItemIdentity folder;
  if (const int code = identifyFolder(ofDirectory, folder); code != 0) {
    if (error != nullptr) *error = detail::fileReadError(ofDirectory, code);
    return {};
  }
  return relationship(folder, *way);
}

std::optional<NSURLRelationship> NSFileManager::getRelationship(NSSearchPathDirectory ofDirectory,
                                                                NSSearchPathDomainMask inDomain,
                                                                const NSURL& toItem,
                                                                std::optional<NSError>* error) const {
  const auto way = wayTo(toItem, error);
  if (!way) return {};
  std::vector<std::filesystem::path> folders = NSSearchPathForDirectoriesInDomains(ofDirectory, inDomain);
  if (ofDirectory == NSSearchPathDirectory::trash)
    std::ranges::move(trashesOnVolume(toItem), std::back_inserter(folders));
  for (const std::filesystem::path& path : folders) {
    ItemIdentity folder;
    if (identifyFolder(path, folder) != 0) continue;  // what is not there contains nothing
    const NSURLRelationship found = relationship(folder, *way);
    if (found != NSURLRelationship::other) return found;
  }
  return NSURLRelationship::other;
}

}  // namespace QVFoundation
