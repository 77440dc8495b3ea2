#include "QVFoundation/operations/QVOperation.h"

#include <memory>
#include <string>

#include "QVFoundation/errors/QVErrorInspection.h"
#include "QVFoundation/platform/application/LocalizedText_p.h"
#include "QVFoundation/platform/runtime/ErrorConversion.h"
#include "QVFoundation/values/ObjectDescription_p.h"

namespace QVFoundation {

std::optional<NSError> QVOperation::logError(const NSError& error) const {
  const auto logger = this->logger();
  return logger != nullptr ? logger->logErrorObject(error) : std::nullopt;
}

void QVOperation::logErrorString(OptionalText text) const {
  if (!text) return;
  if (const auto logger = this->logger()) {
    // For translators: a line of the log.
    logger->logErrorString(detail::localizedText("An error occurred: %@", *text));
  }
}

void QVOperation::logInfoString(std::string_view text) const {
  if (const auto logger = this->logger()) logger->logInfoString(text);
}

void QVOperation::logInfo(std::string_view localized, OptionalText /*comment*/) const {
  if (const auto logger = this->logger()) {
    logger->logInfoString(NSBundle::mainBundle()->localizedStringForKey(localized, "", ""));
  }
}

void QVOperation::logDebugString(std::string_view text) const {
  if (const auto logger = this->logger()) logger->logDebugString(text);
}

// This asks the filter each time; a logger's own `logDebugBlock` asks what it remembers of it.
bool QVOperation::allowsDebug() const {
  const auto logger = this->logger();
  const auto filter = logger != nullptr ? logger->filter() : nullptr;
  return filter != nullptr && filter->filterAllowsMessage(std::nullopt, QVLoggerLevelDebug);
}

void QVOperation::logCaughtError(OptionalText message, const std::exception_ptr& exception) const {
  if (logger() == nullptr) return;
  logErrorString(message ? std::string(*message) + ": " + fullDescription(exception)
                         : asNSError(exception).localizedDescription());
}

void QVOperation::throwUnlessLogged(const std::exception_ptr& exception) const {
  if (logError(asNSError(exception))) std::rethrow_exception(exception);
}

// What it says of itself

Dictionary QVOperation::debugDictionary() const {
  const auto self = std::const_pointer_cast<NSObject>(weak_from_this().lock());
  return {{"self", self != nullptr ? Value(self) : Value(shortDescription())}, {"name", name()}};
}

std::string QVOperation::description() const { return descriptionWithLocale(nullptr, 0); }

std::string QVOperation::descriptionWithLocale(const NSLocale* locale, unsigned indent) const {
  return detail::descriptionFromDebugDictionary(*this, locale, indent);
}

}  // namespace QVFoundation
