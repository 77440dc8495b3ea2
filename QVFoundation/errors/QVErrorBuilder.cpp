#include "QVFoundation/errors/QVErrorBuilder.h"

#include "QVFoundation/errors/QVBlockErrorRecoveryAttempter.h"
#include "QVFoundation/errors/QVErrorConstructors.h"
#include "QVFoundation/errors/QVErrorKeys.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/text/Format.h"

namespace QVFoundation {

const NSClass& QVErrorBuilder::staticClass() {
  static const NSClass& cls = *new NSClass(
      NSClass::define<QVErrorBuilder>("QVErrorBuilder", NSObject::staticClass())
          .property("domain", &QVErrorBuilder::domain, &QVErrorBuilder::setDomain)
          .property("code", &QVErrorBuilder::code, &QVErrorBuilder::setCode)
          .property(
              "userInfo", [](const QVErrorBuilder& builder) { return builder.userInfo(); },
              &QVErrorBuilder::setUserInfo)
          .property("localizedDescription", &QVErrorBuilder::localizedDescription,
                    &QVErrorBuilder::setLocalizedDescription)
          .property("localizedRecoverySuggestion", &QVErrorBuilder::localizedRecoverySuggestion,
                    &QVErrorBuilder::setLocalizedRecoverySuggestion)
          .property("helpAnchor", &QVErrorBuilder::helpAnchor, &QVErrorBuilder::setHelpAnchor)
          .property("underlyingError", &QVErrorBuilder::underlyingError, &QVErrorBuilder::setUnderlyingError)
          .property("recoveryAttempter", &QVErrorBuilder::recoveryAttempter,
                    &QVErrorBuilder::setRecoveryAttempter)
          .property("errorStyle", &QVErrorBuilder::errorStyle, &QVErrorBuilder::setErrorStyle));
  return cls;
}

std::shared_ptr<QVErrorBuilder> QVErrorBuilder::errorBuilder() { return std::make_shared<QVErrorBuilder>(); }

NSError QVErrorBuilder::buildErrorWithBlock(const Block& block) {
  const auto builder = errorBuilder();
  block(*builder);
  return builder->generateError();
}

NSError QVErrorBuilder::buildError(const NSError& wrapping, std::optional<std::string_view> message) {
  if (!message) return wrapping;
  return buildErrorWithBlock([&](QVErrorBuilder& builder) {
    builder.takeAttributesFromError(wrapping);
    builder.setLocalizedDescription(stringWithFormat("%@: %@", *message, wrapping.localizedDescription()));
  });
}

void QVErrorBuilder::setUserInfoValue(const Value& value, std::string_view key) { userInfo_.set(key, value); }

std::optional<std::string> QVErrorBuilder::localizedDescription() const {
  return userInfo_[NSLocalizedDescriptionKey].as<std::string>();
}

void QVErrorBuilder::setLocalizedDescription(const std::optional<std::string>& description) {
  userInfo_.set(NSLocalizedDescriptionKey, description);
}

std::optional<std::string> QVErrorBuilder::localizedRecoverySuggestion() const {
  return userInfo_[NSLocalizedRecoverySuggestionErrorKey].as<std::string>();
}

void QVErrorBuilder::setLocalizedRecoverySuggestion(const std::optional<std::string>& suggestion) {
  userInfo_.set(NSLocalizedRecoverySuggestionErrorKey, suggestion);
}

std::optional<std::string> QVErrorBuilder::helpAnchor() const {
  return userInfo_[NSHelpAnchorErrorKey].as<std::string>();
}

void QVErrorBuilder::setHelpAnchor(const std::optional<std::string>& anchor) {
  userInfo_.set(NSHelpAnchorErrorKey, anchor);
}

std::optional<NSError> QVErrorBuilder::underlyingError() const {
  return userInfo_[NSUnderlyingErrorKey].error();
}

void QVErrorBuilder::setUnderlyingError(const std::optional<NSError>& error) {
  userInfo_.set(NSUnderlyingErrorKey, error);
}

std::shared_ptr<NSObject> QVErrorBuilder::recoveryAttempter() const {
  return userInfo_[NSRecoveryAttempterErrorKey].object();
}

void QVErrorBuilder::setRecoveryAttempter(std::shared_ptr<NSObject> attempter) {
  userInfo_.set(NSRecoveryAttempterErrorKey, std::move(attempter));
}

std::int64_t QVErrorBuilder::errorStyle() const {
  return userInfo_[QVErrorStyleKey].as<std::int64_t>().value_or(0);
}

void QVErrorBuilder::setErrorStyle(std::int64_t style) { userInfo_.set(QVErrorStyleKey, style); }

void QVErrorBuilder::addRecoveryOptionWithTitle(std::string_view title, QVRecoveryHandler recoveryHandler) {
  // A handler that does nothing keeps the indexes of titles and handlers the same.
  if (!recoveryHandler) recoveryHandler = [](const NSError&) { return std::optional<NSError>(); };
  appendTo(NSLocalizedRecoveryOptionsErrorKey, title);
  appendTo(QVRecoveryBlocksErrorKey, Value::boxed(std::move(recoveryHandler)));
  if (!userInfo_.contains(NSRecoveryAttempterErrorKey))
    setRecoveryAttempter(QVBlockErrorRecoveryAttempter::attempter());
}

void QVErrorBuilder::clearRecoveryOptionsAndBlocks() {
  userInfo_.remove(NSLocalizedRecoveryOptionsErrorKey);
  userInfo_.remove(QVRecoveryBlocksErrorKey);
}

void QVErrorBuilder::appendTo(std::string_view key, const Value& element) {
  Array elements = userInfo_[key].array();
  elements.append(element);
  userInfo_.set(key, elements);
}

void QVErrorBuilder::takeAttributesFromError(const NSError& error) {
  domain_ = error.domain();
  code_ = error.code();
  errorClass_ = &error.errorClass();
  userInfo_ = error.userInfo();
}

NSError QVErrorBuilder::generateError() const {
  const auto name = errorClass_ != nullptr ? OptionalText(errorClass_->name()) : std::nullopt;
  return {domain_, code_, userInfo_, errorClassForName(name)};
}

std::string QVErrorBuilder::description() const {
  return stringWithFormat("%@: error = %@", NSObject::description(), generateError());
}

}  // namespace QVFoundation
