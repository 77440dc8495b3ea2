#include "QVFoundation/platform/tracing/NSLog.h"

#include <cerrno>
#include <chrono>
#include <string>
#include <tuple>
#include <unistd.h>

#include "QVFoundation/platform/files/FileOutput_p.h"
#include "QVFoundation/platform/text/Format.h"
#include "QVFoundation/platform/time/Timestamp.h"
#include "QVFoundation/platform/tracing/ErrnoKeeper_p.h"

namespace QVFoundation::detail {

namespace {

/// "2026-03-05 14:07:09.123 player[4711:4715] "
std::string lineStart() {
  static const TimestampFormatter& times = *new TimestampFormatter;
  std::string line;
  times.append(line, std::chrono::system_clock::now());
  appendFormat(line, nullptr, " %s[%d:%d] ",
               std::array<FormatArgument, 3>{program_invocation_short_name, getpid(), gettid()});
  return line;
}

/// The message, or its bare format if an argument cannot say what it is.
void appendMessage(std::string& line, std::string_view format, FormatArguments arguments) {
  const std::size_t start = line.size();
  try {
    appendFormat(line, nullptr, format, arguments);
  } catch (...) {
    line.resize(start);
    line += format;
  }
}

/// Whether somebody took it all is of no use to know: this was the last channel.
void write(std::string_view line) noexcept {
  std::size_t written = 0;
  std::ignore = writeAll(STDERR_FILENO, outputKindOf(STDERR_FILENO), line, written);
}

}  // namespace

void writeNSLogLine(std::string_view format, FormatArguments arguments) noexcept {
  const ErrnoKeeper errnoKeeper;
  try {
    std::string line = lineStart();
    appendMessage(line, format, arguments);
    if (line.back() != '\n') line += '\n';
    write(line);
  } catch (...) {
    write("A line was lost: no memory\n");
  }
}

}  // namespace QVFoundation::detail
