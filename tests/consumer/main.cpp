// A small application: logs through a writer of its own, makes an error, throws and catches it, and recovers
// from it.

#include <iostream>
#include <memory>
#include <string_view>

#include "QVFoundation/Version.h"
#include "QVFoundation/errors/QVErrorBuilder.h"
#include "QVFoundation/errors/QVErrorRecovery.h"
#include "QVFoundation/logging/QVLogBasicFormatter.h"
#include "QVFoundation/logging/QVLogLevelFilter.h"
#include "QVFoundation/logging/QVLogger.h"

using namespace QVFoundation;

namespace {

class Screen final : public QVLogWriter {
public:
  void logMessage(std::string_view message, QVLoggerLevel) override { std::cout << message << '\n'; }
};

NSError trackExists(bool& replaced) {
  return QVErrorBuilder::buildErrorWithBlock([&](QVErrorBuilder& builder) {
    builder.setDomain("ConsumerErrorDomain");
    builder.setCode(7);
    builder.setLocalizedDescription("The track exists already.");
    builder.addRecoveryOptionWithTitle("Replace", [&](const NSError&) {
      replaced = true;
      return std::nullopt;
    });
  });
}

}  // namespace

int main() {
  std::cout << "library matches headers: " << std::boolalpha << (versionAtRunTime() == version) << '\n';

  QVLogger logger(std::make_shared<Screen>(), std::make_shared<QVLogBasicFormatter>(),
                  std::make_shared<QVLogLevelFilter>());
  logger.logInfo("%d tracks in %@", 12, "Preludes");

  bool replaced = false;
  try {
    throw trackExists(replaced);
  } catch (const NSError& error) {
    logger.logErrorString(error.what());
    logger.logInfo("one can: %@", error.localizedRecoveryOptions().front());
    const bool failed = performRecoveryWithIndex(error, 0).has_value();
    logger.logInfo("recovered: %@", replaced && !failed ? "yes" : "no");
  }
  logger.logInfo("%lld error", static_cast<long long>(logger.numErrorsLogged()));
}
