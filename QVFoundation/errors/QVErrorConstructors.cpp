#include "QVFoundation/errors/QVErrorConstructors.h"

#include <cerrno>
#include <memory>
#include <string>

#include "QVFoundation/errors/QVBlockErrorRecoveryAttempter.h"
#include "QVFoundation/errors/QVErrorKeys.h"
#include "QVFoundation/platform/application/NSBundle.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/text/Format.h"

namespace QVFoundation {

namespace {

NSError describedError(std::string_view domain, std::int64_t code, OptionalText description) {
  return {domain, code, {{NSLocalizedDescriptionKey, description}}};
}

std::optional<NSError> statusError(std::string_view domain, std::int64_t code, OptionalText description) {
  if (code == 0) return {};
  return describedError(domain, code, description);
}

std::optional<std::string> ownedText(OptionalText text) {
  return text ? std::optional<std::string>(*text) : std::nullopt;
}

struct Texts {
  std::optional<std::string> description;
  std::optional<std::string> suggestion;
};

std::optional<std::string> withOther(OptionalText text, const std::string& other) {
  if (!text) return {};
  return stringWithFormat("%@ (%@)", *text, other);
}

Texts mergedTexts(OptionalText description, OptionalText suggestion, const NSError& underlying) {
  const std::string& underlyingDescription = underlying.localizedDescription();
  const auto underlyingSuggestion = underlying.localizedRecoverySuggestion();
  if (!suggestion && !underlyingSuggestion) return {ownedText(description), underlyingDescription};

  Texts merged{withOther(description, underlyingDescription), {}};
  if (suggestion && underlyingSuggestion) {
    merged.suggestion = withOther(suggestion, *underlyingSuggestion);
  } else {
    merged.suggestion = suggestion ? ownedText(suggestion) : underlyingSuggestion;
  }
  return merged;
}

}  // namespace

std::optional<NSError> POSIXError(std::int32_t code, OptionalText description) {
  return statusError(NSPOSIXErrorDomain, code, description);
}

std::optional<NSError> errnoError(std::int64_t result, OptionalText description) {
  const int code = errno;  // before anything here can change it
  return result == -1 ? POSIXError(code, description) : std::nullopt;
}

std::optional<NSError> carbonError(std::int32_t code, OptionalText description) {
  return statusError(NSOSStatusErrorDomain, code, description);
}

std::optional<NSError> cocoaError(std::int64_t code, OptionalText description) {
  return statusError(NSCocoaErrorDomain, code, description);
}

NSError userCancelledError() { return {NSCocoaErrorDomain, NSUserCancelledError}; }

NSError appError(std::int64_t code, OptionalText description) {
  const auto identifier = NSBundle::mainBundle()->bundleIdentifier();
  return describedError(identifier ? *identifier : NSCocoaErrorDomain, code, description);
}

NSError errorWithDescription(OptionalText description) { return appError(-1, description); }

NSError localizedError(std::string_view text, OptionalText /*comment*/) {
  return errorWithDescription(NSBundle::mainBundle()->localizedStringForKey(text, "", ""));
}

NSError errorWithDomain(OptionalText domain, std::int64_t code, OptionalText description,
                        OptionalText recoverySuggestion) {
  if (!description) return {domain, code};
  return {domain,
          code,
          {{NSLocalizedDescriptionKey, description},
           {NSLocalizedRecoverySuggestionErrorKey, recoverySuggestion}}};
}

NSError errorWithDomain(std::string_view domain, std::int64_t code, std::string_view description,
                        std::string_view recoverySuggestion,
                        const std::vector<std::string>& recoveryOptionTitles,
                        const std::vector<QVRecoveryHandler>& recoveryBlocks) {
  Array blocks;
  for (const auto& block : recoveryBlocks) blocks.append(Value::boxed(block));
  return {domain,
          code,
          {{NSLocalizedDescriptionKey, description},
           {NSLocalizedRecoverySuggestionErrorKey, recoverySuggestion},
           {QVRecoveryBlocksErrorKey, blocks},
           {NSLocalizedRecoveryOptionsErrorKey, recoveryOptionTitles},
           {NSRecoveryAttempterErrorKey, QVBlockErrorRecoveryAttempter::attempter()}}};
}

NSError qv_errorWithDomain(OptionalText domain, std::int64_t code, OptionalText description,
                           OptionalText recoverySuggestion, const std::optional<NSError>& underlyingError) {
  const Texts texts = underlyingError ? mergedTexts(description, recoverySuggestion, *underlyingError)
                                      : Texts{ownedText(description), ownedText(recoverySuggestion)};
  return {domain,
          code,
          {{NSLocalizedDescriptionKey, texts.description},
           {NSLocalizedRecoverySuggestionErrorKey, texts.suggestion},
           {NSUnderlyingErrorKey, underlyingError}}};
}

const NSClass& errorClassForName(OptionalText name) {
  if (!name || *name == "__NSCFError" || *name == "__NSNativeError") return NSError::staticClass();
  const NSClass* cls = NSClass::named(*name);
  return cls != nullptr && cls->isSubclassOf(NSError::staticClass()) ? *cls : NSError::staticClass();
}

}  // namespace QVFoundation
