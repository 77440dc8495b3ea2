#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/Export.h"

/// Where the environment says that the files of a user belong, by XDG Base Directory 0.8 (freedesktop.org)
/// and the user directories of xdg-user-dirs. All paths are absolute; but for "/", none has a slash at its
/// end. A variable that holds no absolute path counts as unset.
///
/// Threads: the environment is read at each call; no other thread may change it meanwhile.
namespace QVFoundation::detail {

/// The absolute path that a variable of the environment holds; empty where it holds none.
[[nodiscard]] std::string pathFromEnvironment(const char* variable);

/// $HOME, else what the user database says, else "/".
[[nodiscard]] std::string homeFolder();
[[nodiscard]] std::string dataHome();    ///< $XDG_DATA_HOME, else ~/.local/share
[[nodiscard]] std::string configHome();  ///< $XDG_CONFIG_HOME, else ~/.config
[[nodiscard]] std::string cacheHome();   ///< $XDG_CACHE_HOME, else ~/.cache
/// Those of $XDG_DATA_DIRS, best first; empty where there are none.
[[nodiscard]] std::vector<std::string> dataFolders();

/// What an entry such as "XDG_DESKTOP_DIR" of the file user-dirs.dirs says; nothing where there is no such
/// entry or it is not in order.
[[nodiscard]] std::optional<std::string> userDirectory(std::string_view entry);

}  // namespace QVFoundation::detail
