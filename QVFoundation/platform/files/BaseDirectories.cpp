#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <pwd.h>
#include <unistd.h>

#include "QVFoundation/platform/files/BaseDirectories_p.h"
#include "QVFoundation/platform/files/FileContents_p.h"
#include "QVFoundation/platform/files/PathComponents.h"

namespace QVFoundation::detail {

namespace {

constexpr std::size_t mostBytesOfUserDirectories = 1024 * 1024;

const char* environmentVariable(const char* name) {
  return std::getenv(name);  // NOLINT(concurrency-mt-unsafe): the header says when this is safe.
}

/// Without slashes at the end; empty where the path is not absolute.
std::string absoluteOrEmpty(std::string_view path) {
  return path.starts_with('/') ? stringByAppendingPathComponent(path, "") : std::string();
}

/// What the user database has for the user of the process; empty where it has no absolute path.
std::string homeInUserDatabase() {
  constexpr std::size_t mostBytes = 1024 * 1024;
  for (std::string buffer(1024, '\0'); buffer.size() <= mostBytes; buffer.resize(2 * buffer.size())) {
    passwd entry{};
    passwd* found = nullptr;
    const int code = getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found);
    if (found != nullptr) return absoluteOrEmpty(found->pw_dir);
    if (code != ERANGE && code != EINTR) break;
  }
  return {};
}

std::string baseFolder(const char* variable, std::string_view belowHome) {
  std::string folder = pathFromEnvironment(variable);
  return folder.empty() ? stringByAppendingPathComponent(homeFolder(), belowHome) : folder;
}

/// Takes `token` and the blanks before it away from the beginning of a line, if they are there.
bool take(std::string_view& line, std::string_view token) {
  const std::size_t start = std::min(line.find_first_not_of(" \t"), line.size());
  if (!line.substr(start).starts_with(token)) return false;
  line.remove_prefix(start + token.size());
  return true;
}

/// The text up to the closing quote, without its backslashes; nothing where the quote does not close.
std::optional<std::string> unquoted(std::string_view rest) {
  std::string text;
  for (std::size_t at = 0; at < rest.size(); ++at) {
    if (rest[at] == '"') return text;
    if (rest[at] == '\\') ++at;
    if (at < rest.size()) text += rest[at];
  }
  return {};
}

/// What `NAME="$HOME/Desktop"` or `NAME="/absolute"` says; nothing for any other line.
std::optional<std::string> directoryInLine(std::string_view line, std::string_view name) {
  if (!take(line, name) || !take(line, "=") || !take(line, "\"")) return {};
  const bool isBelowHome = line.starts_with("$HOME/") || line.starts_with("$HOME\"");
  if (isBelowHome) line.remove_prefix(std::string_view("$HOME").size());
  const auto text = unquoted(line);
  if (!text || text->find('\0') != std::string::npos) return {};
  if (isBelowHome) return stringByAppendingPathComponent(homeFolder(), *text);
  return text->starts_with('/') ? std::optional(absoluteOrEmpty(*text)) : std::nullopt;
}

}  // namespace

std::string pathFromEnvironment(const char* variable) {
  const char* value = environmentVariable(variable);
  return absoluteOrEmpty(value != nullptr ? value : "");
}

std::string homeFolder() {
  if (std::string home = pathFromEnvironment("HOME"); !home.empty()) return home;
  std::string home = homeInUserDatabase();
  return home.empty() ? "/" : home;
}

std::string dataHome() { return baseFolder("XDG_DATA_HOME", ".local/share"); }
std::string configHome() { return baseFolder("XDG_CONFIG_HOME", ".config"); }
std::string cacheHome() { return baseFolder("XDG_CACHE_HOME", ".cache"); }

std::vector<std::string> dataFolders() {
  const char* value = environmentVariable("XDG_DATA_DIRS");
  const std::string_view list = value != nullptr ? value : "";
  std::vector<std::string> folders;
  for (std::size_t start = 0; start < list.size();) {
    const std::size_t end = std::min(list.find(':', start), list.size());
    std::string folder = absoluteOrEmpty(list.substr(start, end - start));
    if (!folder.empty()) folders.push_back(std::move(folder));
    start = end + 1;
  }
  return folders;
}

std::optional<std::string> userDirectory(std::string_view entry) {
  NSData bytes;
  try {
    bytes = contentsOfFile(configHome() + "/user-dirs.dirs", mostBytesOfUserDirectories);
  } catch (const NSError&) {
    return {};  // most users have no such file
  }
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  std::optional<std::string> directory;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = std::min(text.find('\n', start), text.size());
    if (auto named = directoryInLine(text.substr(start, end - start), entry)) directory = std::move(named);
    start = end + 1;
  }
  return directory;
}

}  // namespace QVFoundation::detail
