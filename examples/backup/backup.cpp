// Backs up a file or a folder, as an application with a main loop of its own would: see backup --help.

#include "Backup.h"

#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include <QVFoundation/QVFoundation.h>

#include "Options.h"
#include "shared/Console.h"
#include "shared/CopySummary.h"
#include "shared/ErrorFile.h"
#include "shared/ProgressLines.h"
#include "shared/TerminalText.h"
#include "shared/TraceFile.h"

using namespace QVFoundation;
using namespace example;

namespace {

void handle(const Console::Input& input, Backup& backup, Console& console) {
  if (input.key == 'p') backup.pause();
  if (input.key == 'r') backup.resume();
  if (input.signal == 0) return;
  const bool isTyped = input.signal == SIGINT || input.signal == SIGQUIT;  // a closed terminal signals twice
  if (backup.isCancelled() && isTyped) console.endBy(input.signal);
  backup.cancelWithLocalizedDescription(
      stringWithFormat("The backup was stopped (%@).", strsignal(input.signal)));
}

std::string noteFor(const Backup& backup, const Console& console) {
  if (backup.isCancelled()) return ", stops";
  if (backup.isPaused()) return ", paused (r: resume)";
  return console.hasKeys() ? " (p: pause)" : "";
}

void runToEnd(const std::shared_ptr<Backup>& backup, const Options& options, Console& console) {
  if (options.timeout) {
    backup->addTimeout(*options.timeout, [weak = std::weak_ptr(backup), seconds = options.timeout->count()] {
      const auto text = stringWithFormat("The backup took longer than %g seconds.", seconds);
      if (const auto late = weak.lock()) late->cancelWithLocalizedDescription(text);
    });
  }
  ProgressLines lines;
  const auto show = [&] {
    lines.show(*backup->mainThreadProgress(), backup->part().get(), noteFor(*backup, console),
               backup->isPaused());
  };
  bool hasEnded = false;
  backup->setEnableMainThreadProgress(true);
  backup->startInBackgroundWithMainThreadCompletionHandler([&](Backup&) { hasEnded = true; });
  while (!hasEnded) {
    const bool stops = backup->isCancelled();  // then progress says nothing any more
    handle(console.wait(), *backup, console);
    if (!stops && !hasEnded) show();
  }
  if (!backup->result()) return;
  backup->mainThreadProgressMirror()->updateDestinationProgress();
  show();
}

/// Takes one of the ways out that an error offers. It remains where there are none, or nobody can be asked.
std::optional<NSError> recover(const NSError& error, const Options& options, Console& console) {
  if (!canRecover(error) || (!options.onConflict && !console.canAsk())) return error;
  if (options.onConflict) return performRecoveryWithIndex(error, *options.onConflict);
  std::puts(shown(error.localizedDescription()).c_str());
  return performRecoveryWithIndex(error, console.choose(error.localizedRecoveryOptions()));
}

int backUp(const Options& options, Console& console) {
  if (options.trace) recordSignposts(*options.trace, "--trace");
  QVLogManager& logs = *QVLogManager::defaultManager();
  if (options.logsDebug) logs.setDebugLoggingEnabled(true);
  logs.clearLogFilesOlderThanNumDays(30, 100'000'000);
  std::filesystem::path logFile;
  std::optional<NSError> error;
  const auto logger = logs.newLoggerWithName("Backup", &logFile, &error);
  if (logger == nullptr) throw NSError(*error);
  std::string whereLogsAre = "Log: " + logFile.native();
  if (options.logsDebug) {
    const auto debugLog = std::filesystem::path(logFile).replace_extension("debug.log");
    logs.setDebugLogURL(debugLog);
    logs.debugLogWriter()->setWritingEnabled(true);
    whereLogsAre += "\nDebug log: " + debugLog.native();
  }

  std::shared_ptr<Backup> backup;
  auto conflict = Backup::Conflict::cancel;
  for (bool goesOn = true; goesOn;) {
    goesOn = false;
    backup =
        std::make_shared<Backup>(options, conflict, [&](Backup::Conflict wayOut) -> std::optional<NSError> {
          conflict = wayOut;
          goesOn = wayOut != Backup::Conflict::cancel;
          if (goesOn) return {};
          return errorWithDomain(QVErrorDomain, QVUserCancelledError, "The backup was cancelled.", {});
        });
    backup->setLogger(logger);
    runToEnd(backup, options, console);
    error = backup->operationError();
    if (error && backup->isCancelled()) error = backup->checkForCancellation();  // also if it has not begun
    if (error) error = recover(*error, options, console);
  }

  const std::string timing = backup->timingInfo()->timingInfoString();
  std::string outcome =
      error ? error->localizedDescription() : summaryOf(*backup->result(), backup->destination());
  if (const auto more = error ? error->localizedRecoverySuggestion() : std::nullopt) outcome += '\n' + *more;
  if (error) logger->logErrorObject(*error);
  logger->logInfoString(outcome + "\n" + timing);
  std::printf("%s\n\nSeconds:\n%s\n\n%s\n", shown(outcome).c_str(), timing.c_str(), whereLogsAre.c_str());
  if (!error) return 0;
  if (options.errorJSON) writeError(*error, *options.errorJSON);
  return isUserCancelledError(*error) ? 128 + SIGINT : 1;
}

}  // namespace

int main(int count, char** arguments) {
  std::setlocale(LC_CTYPE, "");   // for what is shown on the terminal
  std::signal(SIGPIPE, SIG_IGN);  // who reads only a part of what is said ends no backup
  const Options options = readOptions(count, arguments);
  Console console;
  try {
    return backUp(options, console);
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "backup: %s\n", shown(problem.what()).c_str());
    if (options.errorJSON) writeError(asNSError(problem), *options.errorJSON);
    return 1;
  }
}
