#include "QVFoundation/platform/runtime/NSError.h"

#include <mutex>
#include <system_error>
#include <utility>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/ErrorConversion.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation {

namespace detail {

struct ErrorNode final : Node {
  ErrorNode(std::optional<std::string_view> errorDomain, std::int64_t errorCode, Dictionary info,
            const NSClass& type)
      : domain(errorDomain), code(errorCode), userInfo(std::move(info)), errorClass(&type) {}

  std::optional<std::string> domain;
  std::int64_t code;
  Dictionary userInfo;
  const NSClass* errorClass;
  mutable std::once_flag described;
  mutable std::string localizedDescription;  // composed once, when first asked for
};

}  // namespace detail

namespace {

std::optional<std::string> textUnder(std::string_view key, const Dictionary& userInfo) {
  return userInfo[key].as<std::string>();
}

std::string domainText(const NSError& error) { return error.domain().value_or("(null)"); }

std::string reasonOrSystemText(const NSError& error) {
  if (auto reason = error.localizedFailureReason()) return *reason;
  if (error.domain() == NSPOSIXErrorDomain && std::in_range<int>(error.code()))
    return std::generic_category().message(static_cast<int>(error.code()));
  return '(' + domainText(error) + " error " + std::to_string(error.code()) + ".)";
}

std::string composedDescription(const NSError& error) {
  if (auto text = textUnder(NSLocalizedDescriptionKey, error.userInfo())) return *text;
  if (const auto failure = textUnder(NSLocalizedFailureErrorKey, error.userInfo())) {
    const auto reason = error.localizedFailureReason();
    return reason ? *failure + ' ' + *reason : *failure;
  }
  return "The operation couldn’t be completed. " + reasonOrSystemText(error);
}

bool isErrorEntry(const std::pair<Value, Value>& entry) {
  return entry.first == NSUnderlyingErrorKey && entry.second.kind() == ValueKind::error;
}

/// Writes one error up to where its cause belongs. The cause is returned, and what follows it goes to `tail`.
std::optional<NSError> appendUpToCause(std::string& out, std::string& tail, const NSError& error) {
  out += "Error Domain=" + domainText(error) + " Code=" + std::to_string(error.code()) + " \"" +
         error.localizedDescription() + '"';
  if (error.userInfo().empty()) return {};

  std::optional<NSError> cause;
  std::string separator = " UserInfo={";
  for (const auto& entry : error.userInfo().sortedEntries()) {
    std::string& part = cause ? tail : out;
    part += separator + entry.first.description() + '=';
    separator = ", ";
    if (isErrorEntry(entry)) {
      cause = entry.second.error();
      part += '{';
      tail = "}";
    } else {
      part += entry.second.description();
    }
  }
  (cause ? tail : out) += '}';
  return cause;
}

}  // namespace

NSError::NSError(std::optional<std::string_view> domain, std::int64_t code, Dictionary userInfo)
    : NSError(domain, code, std::move(userInfo), staticClass()) {}

NSError::NSError(std::optional<std::string_view> domain, std::int64_t code, Dictionary userInfo,
                 const NSClass& errorClass)
    : node_(new detail::ErrorNode(domain, code, std::move(userInfo), errorClass)) {}

NSError::NSError(detail::Ref<const detail::ErrorNode> node) noexcept : node_(std::move(node)) {}
NSError::~NSError() = default;
NSError::NSError(const NSError&) noexcept = default;
NSError& NSError::operator=(const NSError&) noexcept = default;

const NSClass& NSError::staticClass() {
  // Never destroyed, so that errors serve to the end of the process.
  static const NSClass& cls = *new NSClass("NSError", NSObject::staticClass());
  return cls;
}

const std::optional<std::string>& NSError::domain() const noexcept { return node_->domain; }

std::int64_t NSError::code() const noexcept { return node_->code; }

const Dictionary& NSError::userInfo() const noexcept { return node_->userInfo; }

const NSClass& NSError::errorClass() const noexcept { return *node_->errorClass; }

const std::string& NSError::className() const noexcept { return errorClass().name(); }

const std::string& NSError::localizedDescription() const {
  std::call_once(node_->described, [this] { node_->localizedDescription = composedDescription(*this); });
  return node_->localizedDescription;
}

std::optional<std::string> NSError::localizedFailureReason() const {
  return textUnder(NSLocalizedFailureReasonErrorKey, userInfo());
}

std::optional<std::string> NSError::localizedRecoverySuggestion() const {
  return textUnder(NSLocalizedRecoverySuggestionErrorKey, userInfo());
}

std::vector<std::string> NSError::localizedRecoveryOptions() const {
  return userInfo()[NSLocalizedRecoveryOptionsErrorKey].as<std::vector<std::string>>().value_or(
      std::vector<std::string>{});
}

std::optional<std::string> NSError::helpAnchor() const { return textUnder(NSHelpAnchorErrorKey, userInfo()); }

std::shared_ptr<NSObject> NSError::recoveryAttempter() const {
  return userInfo()[NSRecoveryAttempterErrorKey].object();
}

std::vector<NSError> NSError::underlyingErrors() const {
  std::vector<NSError> causes;
  if (auto cause = userInfo()[NSUnderlyingErrorKey].error()) causes.push_back(*std::move(cause));
  const Array several = userInfo()[NSMultipleUnderlyingErrorsKey].array();
  for (const Value& element : several) {
    if (auto cause = element.error()) causes.push_back(*std::move(cause));
  }
  return causes;
}

const char* NSError::what() const noexcept { return localizedDescription().c_str(); }

// Walks down the chain of causes and closes what it opened on the way back, without recursion: a chain may
// be long.
std::string NSError::description() const {
  std::string out;
  std::vector<std::string> tails;
  std::optional<NSError> error = *this;
  while (error) {
    std::string tail;
    error = appendUpToCause(out, tail, *error);
    tails.push_back(std::move(tail));
  }
  while (!tails.empty()) {
    out += tails.back();
    tails.pop_back();
  }
  return out;
}

bool operator==(const NSError& a, const NSError& b) { return a.node_ == b.node_ || Value(a) == Value(b); }

Value::Value(const NSError& error) noexcept : content_(error.node_) {}

std::optional<NSError> Value::error() const {
  if (const auto* node = std::get_if<detail::Ref<const detail::ErrorNode>>(&content_)) return NSError(*node);
  if (const auto* box = std::get_if<detail::Ref<const detail::BoxNode>>(&content_)) {
    if (const std::exception* exception = (*box)->exception()) return asNSError(*exception);
  }
  return {};
}

}  // namespace QVFoundation
