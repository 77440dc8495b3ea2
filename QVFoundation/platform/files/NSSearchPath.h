#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include "QVFoundation/platform/Export.h"

/// The standard folders: where a desktop keeps the files of its users and programs.
///
/// | kind               | user                                | local             | system                  |
/// |--------------------|-------------------------------------|-------------------|-------------------------|
/// | applications       | DATA/applications                   | DIRS/applications | /usr/share/applications |
/// | library            | ~/Library                           | /usr/local/share  | /usr/share              |
/// | applicationSupport | DATA                                | DIRS              | /usr/share              |
/// | caches             | $XDG_CACHE_HOME, else ~/.cache      | /var/cache        |                         |
/// | trash              | DATA/Trash                          |                   |                         |
/// | desktop            | XDG_DESKTOP_DIR, else ~/Desktop     |                   |                         |
/// | documents          | XDG_DOCUMENTS_DIR, else ~/Documents |                   |                         |
/// | downloads          | XDG_DOWNLOAD_DIR, else ~/Downloads  |                   |                         |
/// | movies             | XDG_VIDEOS_DIR, else ~/Videos       |                   |                         |
/// | music              | XDG_MUSIC_DIR, else ~/Music         |                   |                         |
/// | pictures           | XDG_PICTURES_DIR, else ~/Pictures   |                   |                         |
/// | publicShare        | XDG_PUBLICSHARE_DIR, else ~/Public  |                   |                         |
/// | templates          | XDG_TEMPLATES_DIR, else ~/Templates |                   |                         |
///
/// DATA is $XDG_DATA_HOME, else ~/.local/share; DIRS are the folders of $XDG_DATA_DIRS, else
/// /usr/local/share. XDG_DESKTOP_DIR and the like are entries of the file user-dirs.dirs in $XDG_CONFIG_HOME,
/// else in ~/.config. Variables and entries count only if they hold an absolute path. The network domain has
/// no folders. Log files of a program belong in "Logs/NAME" in the user's library.
///
/// Nothing here creates a folder or looks whether it exists.
///
/// Threads: any; the environment is read at each call, and no other thread may change it meanwhile.
/// Errors: none; a file that cannot be read counts as absent.
namespace QVFoundation {

/// The kinds of standard folders.
enum class NSSearchPathDirectory {
  applications,
  library,
  applicationSupport,
  caches,
  trash,
  desktop,
  documents,
  downloads,
  movies,
  music,
  pictures,
  publicShare,
  templates,
};

/// For whom a folder is: one domain, or several joined by `|`.
enum class NSSearchPathDomainMask : std::uint32_t {
  user = 1,
  local = 2,    ///< all users of this machine
  network = 4,  ///< all users of several machines
  system = 8,   ///< what comes with the system
  all = 15,
};

[[nodiscard]] constexpr NSSearchPathDomainMask operator|(NSSearchPathDomainMask a,
                                                         NSSearchPathDomainMask b) noexcept {
  return NSSearchPathDomainMask{static_cast<std::uint32_t>(a) | static_cast<std::uint32_t>(b)};
}
[[nodiscard]] constexpr NSSearchPathDomainMask operator&(NSSearchPathDomainMask a,
                                                         NSSearchPathDomainMask b) noexcept {
  return NSSearchPathDomainMask{static_cast<std::uint32_t>(a) & static_cast<std::uint32_t>(b)};
}

/// Whether a path in the home folder is given in full, or as "~/Music".
enum class ExpandTilde { no, yes };

/// The folders of one kind in the domains of the mask, in the order of the table, each once, without slashes
/// at their ends.
[[nodiscard]] QV_EXPORT std::vector<std::filesystem::path> NSSearchPathForDirectoriesInDomains(
    NSSearchPathDirectory directory, NSSearchPathDomainMask domainMask,
    ExpandTilde expandTilde = ExpandTilde::yes);

/// $HOME, else the user's entry in the user database, else "/".
[[nodiscard]] QV_EXPORT std::filesystem::path NSHomeDirectory();

/// $TMPDIR, else "/tmp".
[[nodiscard]] QV_EXPORT std::filesystem::path NSTemporaryDirectory();

}  // namespace QVFoundation
