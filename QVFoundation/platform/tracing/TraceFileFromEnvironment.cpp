#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <unistd.h>

#include "QVFoundation/platform/tracing/NSLog.h"
#include "QVFoundation/platform/tracing/TraceFileFromEnvironment_p.h"
#include "QVFoundation/platform/tracing/TraceFileSink.h"

namespace QVFoundation::detail {

namespace {

/// The name with the number of this process in place of each "%p".
std::string namedForProcess(std::string name) {
  const std::string number = std::to_string(getpid());
  for (std::size_t at = name.find("%p"); at != std::string::npos; at = name.find("%p", at + number.size()))
    name.replace(at, 2, number);
  return name;
}

/// "trace.4711.json" for "trace.json".
std::filesystem::path numbered(const std::filesystem::path& path) {
  std::string name = path.stem().native();
  name.append(".").append(std::to_string(getpid())).append(path.extension().native());
  return path.parent_path() / name;
}

std::shared_ptr<OSSignpostSink> openBeside(const std::filesystem::path& path) {
  const std::filesystem::path other = numbered(path);
  auto sink = std::make_shared<TraceFileSink>(other);
  NSLog("Signposts go to %@, since %@ exists", other, path);
  return sink;
}

std::shared_ptr<OSSignpostSink> open(const std::filesystem::path& path) {
  try {
    return std::make_shared<TraceFileSink>(path);
  } catch (const std::system_error& failure) {
    std::error_code ignored;
    if (failure.code() == std::errc::file_exists && std::filesystem::is_regular_file(path, ignored))
      return openBeside(path);
    throw;
  }
}

}  // namespace

std::shared_ptr<OSSignpostSink> traceFileFromEnvironment() noexcept {
  const char* const name = secure_getenv("QV_TRACE_FILE");
  if (name == nullptr || *name == '\0') return nullptr;
  try {
    return open(namedForProcess(name));
  } catch (const std::exception& failure) {
    NSLog("Could not record signposts: %@", failure.what());
  }
  return nullptr;
}

}  // namespace QVFoundation::detail
