#include "QVFoundation/logging/QVLogStandardFormatter.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <unistd.h>

namespace QVFoundation {

namespace {

// A timestamp, a blank, and room for what most arguments add to their format.
constexpr std::size_t usualExtent = 24 + 64;

// Room for longer texts is made when they come: a precision may leave little of them.
constexpr std::size_t longestExpectedText = 64 * 1024;

/// What the texts among the arguments, which make lines long, add to the format.
std::size_t extentOf(const std::optional<FormatArguments>& arguments) {
  std::size_t extent = 0;
  for (const FormatArgument& argument : arguments.value_or(FormatArguments())) {
    const bool isText =
        argument.kind() == FormatArgument::Kind::text || argument.kind() == FormatArgument::Kind::characters;
    if (isText) extent += std::min(argument.text().size(), longestExpectedText);
  }
  return extent;
}

}  // namespace

QVLogStandardFormatter::QVLogStandardFormatter() : pname_(program_invocation_short_name), pid_(getpid()) {}

std::optional<std::string> QVLogStandardFormatter::stringForFunc(std::optional<std::string_view> /*func*/,
                                                                 std::optional<std::string_view> format,
                                                                 std::optional<FormatArguments> arguments,
                                                                 QVLoggerLevel /*level*/) {
  if (!format) return {};
  std::string line;
  line.reserve(usualExtent + format->size() + extentOf(arguments));
  dateFormatter_.append(line, std::chrono::system_clock::now());
  line += ' ';
  appendMessage(line, *format, arguments);
  return line;
}

}  // namespace QVFoundation
