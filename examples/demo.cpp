// Logs to a file and to the terminal, fails on purpose, and shows what an error can tell: what happened, why,
// and what the user can do about it.

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unistd.h>

#include <QVFoundation/errors/QVCodableError.h>
#include <QVFoundation/errors/QVErrorBuilder.h>
#include <QVFoundation/errors/QVErrorConstructors.h>
#include <QVFoundation/errors/QVErrorInspection.h>
#include <QVFoundation/errors/QVExceptionWrapping.h>
#include <QVFoundation/errors/QVJSONDescription.h>
#include <QVFoundation/logging/QVFileHandleLogWriter.h>
#include <QVFoundation/logging/QVLogLevelFilter.h>
#include <QVFoundation/logging/QVLogStandardFormatter.h>
#include <QVFoundation/logging/QVLogger.h>
#include <QVFoundation/platform/text/Format.h>

using namespace QVFoundation;

namespace {

void heading(std::string_view text) { std::cout << "\n── " << text << '\n'; }

/// A logger whose lines go to a file and to the terminal.
std::shared_ptr<QVLogger> makeLogger(const std::filesystem::path& file) {
  const auto writer = QVFileHandleLogWriter::fileHandleForLoggingAtPath(file, 0644);
  if (!writer) throw *errnoError(-1, stringWithFormat("“%@” cannot be opened.", file));
  const auto logger = std::make_shared<QVLogger>(writer, std::make_shared<QVLogStandardFormatter>(),
                                                 std::make_shared<QVLogLevelFilter>());
  logger->addWriter(QVFileHandleLogWriter::standardOutput());
  return logger;
}

/// Fails as long as its folder is missing.
void exportPlaylist(const std::filesystem::path& target) {
  std::FILE* file = std::fopen(target.c_str(), "wx");
  const auto cause = errnoError(file == nullptr ? -1 : 0);
  if (file != nullptr) std::fclose(file);
  if (!cause) return;

  throw QVErrorBuilder::buildErrorWithBlock([&](QVErrorBuilder& builder) {
    builder.setDomain("DemoErrorDomain");
    builder.setCode(7);
    builder.setLocalizedDescription(stringWithFormat("The playlist could not be exported to “%@”.", target));
    builder.setLocalizedRecoverySuggestion("Create the folder, or leave it.");
    builder.setUnderlyingError(cause);
    builder.addRecoveryOptionWithTitle("Create the folder and try again", [target](const NSError&) {
      return QVWrapExceptionInErrorOrReturnError([&](std::optional<NSError>* error) {
        try {
          std::filesystem::create_directories(target.parent_path());
          exportPlaylist(target);
        } catch (const NSError& failure) {
          *error = failure;
        }
      });
    });
    builder.addRecoveryOptionWithTitle("Leave it", nullptr);
  });
}

void showError(const NSError& error) {
  std::cout << error.localizedDescription() << '\n';
  for (auto cause = underlyingError(error); cause; cause = underlyingError(*cause)) {
    std::cout << "  because: " << cause->localizedDescription() << '\n';
  }
  if (const auto suggestion = error.localizedRecoverySuggestion()) std::cout << "  " << *suggestion << '\n';
  int number = 1;
  for (const auto& title : error.localizedRecoveryOptions())
    std::cout << "    [" << number++ << "] " << title << '\n';
}

}  // namespace

int main() {
  std::cout << std::unitbuf;  // in step with the lines that the logger writes past it
  const auto folder =
      std::filesystem::temp_directory_path() / stringWithFormat("qvfoundation-demo-%d", getpid());
  std::filesystem::create_directories(folder);
  const auto logFile = folder / "demo.log";

  heading("Log lines, to the terminal and to a file");
  const auto logger = makeLogger(logFile);
  logger->logMarker("Demo");
  logger->logInfo("%d tracks in %@ take %.1f minutes", 12, Dictionary{{"album", "Preludes"}, {"year", 1910}},
                  39.75);
  logger->logDebug("nobody sees this");
  logger->enableDebugLogging();
  logger->logDebugBlock([] { return "debug lines are on now"; });

  heading("A failure, as the user sees it");
  const auto target = folder / "playlists" / "evening.m3u";
  const auto error = Result<void>::of([&] { exportPlaylist(target); }).error();
  showError(error);

  heading("The same failure in the log");
  logger->logErrorObject(error);

  heading("The same failure as JSON, to be sent or kept");
  std::cout << jsonDescription(QVCodableError(error)) << '\n';

  heading("Recovering with option 1");
  const auto failure = performRecoveryWithIndex(error, 0);
  logger->logInfo("%@",
                  failure ? failure->localizedDescription() : stringWithFormat("exported to %@", target));

  heading("An exception that was caught, with its call stack");
  logger->logErrorObject(QVWrapExceptionInError([] { QVThrowTestException(); }));

  heading(stringWithFormat("%@ (%d errors logged)", logFile, logger->numErrorsLogged()));
  std::cout << std::ifstream(logFile).rdbuf();
  std::filesystem::remove_all(folder);
  return failure ? 1 : 0;
}
