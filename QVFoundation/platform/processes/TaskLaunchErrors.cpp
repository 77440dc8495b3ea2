#include <array>
#include <cerrno>
#include <fcntl.h>
#include <fstream>
#include <optional>
#include <string_view>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "QVFoundation/platform/files/SystemCalls_p.h"
#include "QVFoundation/platform/processes/TaskLaunch_p.h"
#include "QVFoundation/platform/runtime/NSErrorKeys.h"

namespace QVFoundation::detail {

namespace {

std::string textOf(int code) { return std::generic_category().message(code); }

NSError errorOf(int code, std::string_view path, std::string description) {
  return {NSPOSIXErrorDomain,
          code,
          {{NSLocalizedDescriptionKey, std::move(description)}, {NSFilePathErrorKey, std::string(path)}}};
}

/// What keeps the folder from becoming a working folder; 0 for nothing.
int folderFault(const std::string& folder) {
  struct stat status{};
  if (systemCalls().statAt(AT_FDCWD, folder.c_str(), &status, 0) != 0) return errno;
  if (!S_ISDIR(status.st_mode)) return ENOTDIR;
  return faccessat(AT_FDCWD, folder.c_str(), X_OK, AT_EACCESS) == 0 ? 0 : errno;
}

/// The program that a script's first line names; empty where it is no script (execve(2)).
std::string interpreterOf(const std::string& program) {
  std::array<char, 256> begin{};
  std::ifstream file(program, std::ios::binary);
  file.read(begin.data(), std::ssize(begin));
  std::string_view line(begin.data(), static_cast<std::size_t>(file.gcount()));
  line = line.substr(0, line.find('\n'));
  if (!line.starts_with("#!")) return {};
  const std::size_t first = line.find_first_not_of(" \t", 2);
  if (first == std::string_view::npos) return {};
  line.remove_prefix(first);
  return std::string(line.substr(0, line.find_first_of(" \t")));
}

/// What is wrong with a program that is there, if it can be seen.
std::string programFault(const std::string& program, const struct stat& status, int code) {
  if (S_ISDIR(status.st_mode)) return "it is a folder";
  if (!S_ISREG(status.st_mode)) return "it is no file";
  if (code == ENOEXEC) return "it is no program that this system can run";
  const bool mayBeRun = faccessat(AT_FDCWD, program.c_str(), X_OK, AT_EACCESS) == 0;
  if (!mayBeRun || (code != ENOENT && code != EACCES)) return textOf(code);
  const std::string interpreter = interpreterOf(program);
  if (!interpreter.empty()) return "its interpreter \"" + interpreter + "\": " + textOf(code);
  return code == ENOENT ? "the loader that it asks for is missing" : textOf(code);
}

}  // namespace

NSError launchError(const TaskSettings& settings, int code, const std::string& reason) {
  const std::string& program = *settings.launchPath;
  return errorOf(code, program, "The program \"" + program + "\" could not be launched: " + reason);
}

NSError launchError(const TaskSettings& settings, int code) {
  const std::string& program = *settings.launchPath;
  if (const auto& folder = settings.currentDirectoryPath; folder && folderFault(*folder) == code) {
    return errorOf(code, *folder,
                   "The program \"" + program + "\" could not be launched in the working folder \"" +
                       *folder + "\": " + textOf(code));
  }
  struct stat status{};
  const bool isThere = systemCalls().statAt(AT_FDCWD, program.c_str(), &status, 0) == 0;
  return launchError(settings, code, isThere ? programFault(program, status, code) : textOf(code));
}

}  // namespace QVFoundation::detail
