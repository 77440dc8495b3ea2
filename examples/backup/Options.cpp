#include "Options.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <getopt.h>
#include <string_view>

#include <QVFoundation/platform/files/NSURL.h>

namespace example {

namespace {

constexpr const char* help = R"(Usage: backup [options] SOURCE DESTINATION

Copies a file, or a folder with all that is in it, and compares the copy with its source. DESTINATION is the path
of the copy itself. Nothing appears there before the copy is whole and has been compared.

  --on-conflict WAY   what to do where DESTINATION exists: "replace", "keep-both" (under a name with a number),
                      "cancel", or "ask", as it does by itself
  --clone             share the blocks of files with the source where the file system can do that
  --flush             wait until everything is on the device
  --no-verify         do not compare
  --timeout SECONDS   cancel what takes longer
  --trace FILE        write a timeline for viewers of trace events
  --error-json FILE   write what went wrong as JSON
  --debug             write a debug log as well
  --help              show this

While it runs: p pauses, r resumes, Ctrl-C cancels and cleans up; a second Ctrl-C does not clean up.
Exit status: 0 if the copy is there, 1 if something went wrong, 130 if it was cancelled.
Logs, the debug log too, are in ~/Library/Logs/backup, those of the last 30 days at least.
)";

[[noreturn]] void refuse(const char* why) {
  std::fprintf(stderr, "%sTry backup --help.\n", why);
  std::exit(1);
}

double secondsFrom(const char* text) {
  char* end = nullptr;
  const double seconds = std::strtod(text, &end);
  if (end == text || *end != '\0' || !(seconds > 0)) refuse("--timeout takes a number of seconds. ");
  return seconds;
}

std::optional<std::size_t> wayFrom(std::string_view text) {
  constexpr std::string_view ways[] = {"replace", "keep-both", "cancel"};  // as the error offers them
  if (text == "ask") return {};
  const auto* const found = std::ranges::find(ways, text);
  if (found == std::end(ways)) refuse("--on-conflict takes ask, replace, keep-both or cancel. ");
  return static_cast<std::size_t>(found - ways);
}

}  // namespace

Options readOptions(int count, char** arguments) {
  const option known[] = {{"on-conflict", required_argument, nullptr, 'o'},
                          {"clone", no_argument, nullptr, 'c'},
                          {"flush", no_argument, nullptr, 'f'},
                          {"no-verify", no_argument, nullptr, 'n'},
                          {"timeout", required_argument, nullptr, 't'},
                          {"trace", required_argument, nullptr, 'T'},
                          {"error-json", required_argument, nullptr, 'j'},
                          {"debug", no_argument, nullptr, 'd'},
                          {"help", no_argument, nullptr, 'h'},
                          {}};
  Options options;
  for (int key = 0; (key = getopt_long(count, arguments, "", known, nullptr)) != -1;) {
    switch (key) {
      case 'o': options.onConflict = wayFrom(optarg); break;
      case 'c': options.clones = true; break;
      case 'f': options.flushes = true; break;
      case 'n': options.verifies = false; break;
      case 't': options.timeout.emplace(secondsFrom(optarg)); break;
      case 'T': options.trace = optarg; break;
      case 'j': options.errorJSON = optarg; break;
      case 'd': options.logsDebug = true; break;
      case 'h': std::fputs(help, stdout); std::exit(0);
      default: refuse("");  // it has been said
    }
  }
  if (count - optind != 2) refuse("A source and a destination are needed. ");
  const std::string_view source = arguments[optind], destination = arguments[optind + 1];
  if (source.empty() || destination.empty()) refuse("Neither source nor destination can be empty. ");
  options.source = QVFoundation::NSURL(source).path();
  options.destination = QVFoundation::NSURL(destination).path();
  return options;
}

}  // namespace example
