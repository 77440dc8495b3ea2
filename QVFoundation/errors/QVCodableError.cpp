#include "QVFoundation/errors/QVCodableError.h"

#include <iterator>
#include <tuple>
#include <utility>

#include "QVFoundation/errors/QVCodableErrorNode_p.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/ErrorConversion.h"

namespace QVFoundation {

namespace {

std::optional<std::string> textUnder(std::string_view key, const NSError& error) {
  return error.userInfo()[key].as<std::string>();
}

QVCodableError::Fields ownFields(const NSError& error) {
  return {.domain = error.domain().value_or(""),
          .code = error.code(),
          .errorDescription = error.localizedDescription(),
          .recoverySuggestion = error.localizedRecoverySuggestion(),
          .failureReason = error.localizedFailureReason(),
          .localizedFailureError = textUnder(NSLocalizedFailureErrorKey, error)};
}

/// The errors of a list; nothing where the value is no list of errors.
std::optional<std::vector<NSError>> errorsIn(const Value& value) { return value.as<std::vector<NSError>>(); }

/// An error of the tree that is being converted, and where in its parent its record belongs.
struct Place {
  NSError error;
  std::size_t parent;
  bool inList;
  std::optional<std::size_t> listSize;
};

/// All errors of a tree, each after its parent and each list in order.
std::vector<Place> flattened(const NSError& root) {
  std::vector<Place> places{{root, 0, false, {}}};
  for (std::size_t i = 0; i < places.size(); ++i) {
    const Dictionary userInfo = places[i].error.userInfo();
    if (auto cause = userInfo[NSUnderlyingErrorKey].error()) places.push_back({*cause, i, false, {}});
    if (auto causes = errorsIn(userInfo[NSMultipleUnderlyingErrorsKey])) {
      places[i].listSize = causes->size();
      for (const auto& cause : *causes) places.push_back({cause, i, true, {}});
    }
  }
  return places;
}

using Pending = std::vector<QVCodableError::Fields>;  // for each place, the causes that are converted already

QVCodableError assembled(const Place& place, QVCodableError::Fields& causes) {
  auto fields = ownFields(place.error);
  fields.underlyingError = std::move(causes.underlyingError);
  if (place.listSize) {
    auto& list = fields.multipleUnderlyingErrors.emplace();
    auto& lastFirst = causes.multipleUnderlyingErrors;
    if (lastFirst)
      list.assign(std::move_iterator(lastFirst->rbegin()), std::move_iterator(lastFirst->rend()));
  }
  return QVCodableError(std::move(fields));
}

void attach(const QVCodableError& record, const Place& place, Pending& pending) {
  auto& parent = pending[place.parent];
  if (!place.inList) {
    parent.underlyingError = record;
  } else {
    if (!parent.multipleUnderlyingErrors) parent.multipleUnderlyingErrors.emplace();
    parent.multipleUnderlyingErrors->push_back(record);
  }
}

/// Builds the records from the leaves up, so that the depth of the tree costs no stack.
QVCodableError recordOf(const NSError& root) {
  const std::vector<Place> places = flattened(root);
  Pending pending(places.size());
  for (std::size_t i = places.size() - 1; i > 0; --i)
    attach(assembled(places[i], pending[i]), places[i], pending);
  return assembled(places[0], pending[0]);
}

}  // namespace

QVCodableError::QVCodableError(Fields fields) : node_(new detail::CodableErrorNode(std::move(fields))) {}
QVCodableError::QVCodableError(const NSError& error) : QVCodableError(recordOf(error)) {}
QVCodableError::~QVCodableError() = default;
QVCodableError::QVCodableError(const QVCodableError&) noexcept = default;
QVCodableError& QVCodableError::operator=(const QVCodableError&) noexcept = default;

std::optional<QVCodableError> QVCodableError::from(const std::exception_ptr& error) {
  if (!error) return {};
  return QVCodableError(asNSError(error));
}

const std::string& QVCodableError::domain() const noexcept { return node_->fields.domain; }

std::int64_t QVCodableError::code() const noexcept { return node_->fields.code; }

const std::optional<std::string>& QVCodableError::errorDescription() const noexcept {
  return node_->fields.errorDescription;
}

const std::optional<std::string>& QVCodableError::recoverySuggestion() const noexcept {
  return node_->fields.recoverySuggestion;
}

const std::optional<std::string>& QVCodableError::failureReason() const noexcept {
  return node_->fields.failureReason;
}

const std::optional<std::string>& QVCodableError::localizedFailureError() const noexcept {
  return node_->fields.localizedFailureError;
}

const std::optional<QVCodableError>& QVCodableError::underlyingError() const noexcept {
  return node_->fields.underlyingError;
}

const std::optional<std::vector<QVCodableError>>& QVCodableError::multipleUnderlyingErrors() const noexcept {
  return node_->fields.multipleUnderlyingErrors;
}

Dictionary QVCodableError::errorUserInfo() const {
  Dictionary userInfo{{NSLocalizedDescriptionKey, errorDescription()},
                      {NSLocalizedRecoverySuggestionErrorKey, recoverySuggestion()},
                      {NSLocalizedFailureReasonErrorKey, failureReason()},
                      {NSLocalizedFailureErrorKey, localizedFailureError()}};
  if (underlyingError()) userInfo.set(NSUnderlyingErrorKey, Value::boxed(*underlyingError()));
  if (multipleUnderlyingErrors()) {
    Array records;
    for (const auto& record : *multipleUnderlyingErrors()) records.append(Value::boxed(record));
    userInfo.set(NSMultipleUnderlyingErrorsKey, records);
  }
  return userInfo;
}

std::string QVCodableError::description() const {
  std::string text;
  std::size_t open = 0;
  for (const QVCodableError* record = this;;) {
    if (record->errorDescription()) text += *record->errorDescription();
    if (record->recoverySuggestion()) text += ' ' + *record->recoverySuggestion();
    if (!record->underlyingError()) break;
    record = &*record->underlyingError();
    text += '(';
    ++open;
  }
  return text.append(open, ')');
}

const char* QVCodableError::what() const noexcept {
  return errorDescription() ? errorDescription()->c_str() : domain().c_str();
}

bool operator==(const QVCodableError& a, const QVCodableError& b) {
  std::vector<std::pair<const QVCodableError*, const QVCodableError*>> open{{&a, &b}};
  while (!open.empty()) {
    const auto [x, y] = open.back();
    open.pop_back();
    if (x->node_ == y->node_) continue;
    const auto own = [](const QVCodableError& record) {
      const auto& fields = record.node_->fields;
      return std::tie(fields.domain, fields.code, fields.errorDescription, fields.recoverySuggestion,
                      fields.failureReason, fields.localizedFailureError);
    };
    if (own(*x) != own(*y)) return false;

    const auto& xCause = x->underlyingError();
    const auto& yCause = y->underlyingError();
    const auto& xList = x->multipleUnderlyingErrors();
    const auto& yList = y->multipleUnderlyingErrors();
    if (xCause.has_value() != yCause.has_value() || xList.has_value() != yList.has_value()) return false;
    if (xCause) open.emplace_back(&*xCause, &*yCause);
    if (!xList) continue;
    if (xList->size() != yList->size()) return false;
    for (std::size_t i = 0; i < xList->size(); ++i) open.emplace_back(&(*xList)[i], &(*yList)[i]);
  }
  return true;
}

}  // namespace QVFoundation
