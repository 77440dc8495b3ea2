#include "QVFoundation/platform/files/NSSearchPath.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "QVFoundation/platform/files/BaseDirectories_p.h"
#include "QVFoundation/platform/files/PathComponents.h"

namespace QVFoundation {

namespace {

using Kind = NSSearchPathDirectory;
using Domain = NSSearchPathDomainMask;
using Paths = std::vector<std::string>;

Paths homeBase() { return {detail::homeFolder()}; }
Paths dataBase() { return {detail::dataHome()}; }
Paths cacheBase() { return {detail::cacheHome()}; }
Paths rootBase() { return {"/"}; }
Paths dataFolderBases() {
  Paths folders = detail::dataFolders();
  return folders.empty() ? Paths{"/usr/local/share"} : folders;
}

/// Where the folders of one kind are in one domain: at a path below each base, unless an entry of the
/// user directories names another place.
struct StandardPlace {
  Kind kind;
  Domain domain;
  Paths (*bases)();
  std::string_view below;
  std::string_view entry = {};
};

constexpr StandardPlace standardPlaces[] = {
    {Kind::applications, Domain::user, dataBase, "applications"},
    {Kind::library, Domain::user, homeBase, "Library"},
    {Kind::applicationSupport, Domain::user, dataBase, ""},
    {Kind::caches, Domain::user, cacheBase, ""},
    {Kind::trash, Domain::user, dataBase, "Trash"},
    {Kind::desktop, Domain::user, homeBase, "Desktop", "XDG_DESKTOP_DIR"},
    {Kind::documents, Domain::user, homeBase, "Documents", "XDG_DOCUMENTS_DIR"},
    {Kind::downloads, Domain::user, homeBase, "Downloads", "XDG_DOWNLOAD_DIR"},
    {Kind::movies, Domain::user, homeBase, "Videos", "XDG_VIDEOS_DIR"},
    {Kind::music, Domain::user, homeBase, "Music", "XDG_MUSIC_DIR"},
    {Kind::pictures, Domain::user, homeBase, "Pictures", "XDG_PICTURES_DIR"},
    {Kind::publicShare, Domain::user, homeBase, "Public", "XDG_PUBLICSHARE_DIR"},
    {Kind::templates, Domain::user, homeBase, "Templates", "XDG_TEMPLATES_DIR"},

    {Kind::applications, Domain::local, dataFolderBases, "applications"},
    {Kind::library, Domain::local, rootBase, "usr/local/share"},
    {Kind::applicationSupport, Domain::local, dataFolderBases, ""},
    {Kind::caches, Domain::local, rootBase, "var/cache"},

    {Kind::applications, Domain::system, rootBase, "usr/share/applications"},
    {Kind::library, Domain::system, rootBase, "usr/share"},
    {Kind::applicationSupport, Domain::system, rootBase, "usr/share"},
};

Paths pathsAt(const StandardPlace& place) {
  if (!place.entry.empty()) {
    if (const auto path = detail::userDirectory(place.entry)) return {*path};
  }
  Paths paths = place.bases();
  for (std::string& path : paths) path = stringByAppendingPathComponent(path, place.below);
  return paths;
}

/// With a tilde for the home folder, where the path leads into it.
std::string withTilde(const std::string& path) {
  const std::string home = detail::homeFolder();
  if (path == home) return "~";
  const std::string folder = home == "/" ? home : home + "/";
  return path.starts_with(folder) ? "~/" + path.substr(folder.size()) : path;
}

}  // namespace

std::vector<std::filesystem::path> NSSearchPathForDirectoriesInDomains(NSSearchPathDirectory directory,
                                                                       NSSearchPathDomainMask domainMask,
                                                                       ExpandTilde expandTilde) {
  std::vector<std::filesystem::path> found;
  for (const StandardPlace& place : standardPlaces) {
    if (place.kind != directory || (place.domain & domainMask) != place.domain) continue;
    for (const std::string& path : pathsAt(place)) {
      std::filesystem::path given = expandTilde == ExpandTilde::yes ? path : withTilde(path);
      if (std::ranges::find(found, given) == found.end()) found.push_back(std::move(given));
    }
  }
  return found;
}

std::filesystem::path NSHomeDirectory() { return detail::homeFolder(); }

std::filesystem::path NSTemporaryDirectory() {
  const std::string folder = detail::pathFromEnvironment("TMPDIR");
  return folder.empty() ? "/tmp" : folder;
}

}  // namespace QVFoundation
