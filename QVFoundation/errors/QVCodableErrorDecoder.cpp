#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "QVFoundation/errors/QVCodableErrorDecoder_p.h"
#include "QVFoundation/platform/runtime/NSError.h"

namespace QVFoundation::detail {

namespace {

// In the order of `Field`.
constexpr std::array<std::string_view, 9> fieldNames = {
    "",
    "domain",
    "code",
    "errorDescription",
    "recoverySuggestion",
    "failureReason",
    "localizedFailureError",
    "underlyingError",
    "multipleUnderlyingErrors",
};

// So many levels of a path are shown; records may be nested far deeper than anybody wants to read.
constexpr std::size_t shownLevels = 6;

NSError decodingError(std::int64_t code, const std::string& text) {
  return {NSCocoaErrorDomain, code, {{NSLocalizedDescriptionKey, "Invalid error record: " + text}}};
}

}  // namespace

CodableErrorDecoder::Field CodableErrorDecoder::fieldNamed(std::string_view name) {
  for (std::size_t i = 1; i < fieldNames.size(); ++i) {
    if (fieldNames.at(i) == name) return static_cast<Field>(i);
  }
  return Field::unknown;
}

std::string_view CodableErrorDecoder::nameOf(Field field) {
  return fieldNames.at(static_cast<std::size_t>(field));
}

bool CodableErrorDecoder::isIgnored() const {
  return ignoredDepth_ > 0 || (!levels_.empty() && levels_.back().current == Field::unknown);
}

void CodableErrorDecoder::key(std::string_view name) {
  if (ignoredDepth_ == 0) levels_.back().current = fieldNamed(name);
}

void CodableErrorDecoder::beginDictionary() {
  if (isIgnored()) {
    ++ignoredDepth_;
    return;
  }
  const bool isExpected =
      levels_.empty() || levels_.back().current == Field::underlyingError || levels_.back().inList;
  if (!isExpected) failType("an object");
  levels_.emplace_back();
}

void CodableErrorDecoder::endDictionary() {
  if (ignoredDepth_ > 0) {
    --ignoredDepth_;
    return;
  }
  Level level = std::move(levels_.back());
  levels_.pop_back();
  if (!level.hasDomain) failMissing("domain");
  if (!level.hasCode) failMissing("code");
  take(QVCodableError(std::move(level.fields)));
}

void CodableErrorDecoder::take(const QVCodableError& record) {
  if (levels_.empty()) {
    record_ = record;
  } else if (levels_.back().inList) {
    levels_.back().fields.multipleUnderlyingErrors->push_back(record);
  } else {
    levels_.back().fields.underlyingError = record;
  }
}

void CodableErrorDecoder::beginArray() {
  if (isIgnored()) {
    ++ignoredDepth_;
    return;
  }
  if (levels_.empty() || levels_.back().inList || levels_.back().current != Field::multipleUnderlyingErrors) {
    failType("an array");
  }
  levels_.back().inList = true;
  levels_.back().fields.multipleUnderlyingErrors.emplace();
}

void CodableErrorDecoder::endArray() {
  if (ignoredDepth_ > 0) {
    --ignoredDepth_;
  } else {
    levels_.back().inList = false;
  }
}

std::optional<std::string>* CodableErrorDecoder::textField() {
  auto& fields = levels_.back().fields;
  switch (levels_.back().current) {
    case Field::errorDescription: return &fields.errorDescription;
    case Field::recoverySuggestion: return &fields.recoverySuggestion;
    case Field::failureReason: return &fields.failureReason;
    case Field::localizedFailureError: return &fields.localizedFailureError;
    default: return nullptr;
  }
}

void CodableErrorDecoder::text(std::string_view value) {
  if (isIgnored()) return;
  if (levels_.empty()) failType("a text");
  if (levels_.back().current == Field::domain) {
    levels_.back().fields.domain = value;
    levels_.back().hasDomain = true;
  } else if (auto* field = textField()) {
    *field = value;
  } else {
    failType("a text");
  }
}

void CodableErrorDecoder::integer(std::int64_t value) {
  if (isIgnored()) return;
  if (levels_.empty() || levels_.back().current != Field::code) failType("a number");
  levels_.back().fields.code = value;
  levels_.back().hasCode = true;
}

void CodableErrorDecoder::unsignedInteger(std::uint64_t value) {
  if (isIgnored()) return;
  if (!std::in_range<std::int64_t>(value)) failType("a number out of range");
  integer(static_cast<std::int64_t>(value));
}

void CodableErrorDecoder::real(double value) {
  if (isIgnored()) return;
  // A larger number may have been rounded when it was read.
  const bool isExact = value == std::trunc(value) && std::abs(value) < 0x1p53;
  if (!isExact) failType("a number with a fraction or out of range");
  integer(static_cast<std::int64_t>(value));
}

void CodableErrorDecoder::boolean(bool /*value*/) {
  if (!isIgnored()) failType("a boolean");
}

void CodableErrorDecoder::null() {
  if (isIgnored()) return;
  if (levels_.empty() || levels_.back().inList) failType("null");
  auto& fields = levels_.back().fields;
  switch (levels_.back().current) {
    case Field::domain:
    case Field::code: failType("null");
    case Field::underlyingError: fields.underlyingError.reset(); break;
    case Field::multipleUnderlyingErrors: fields.multipleUnderlyingErrors.reset(); break;
    default: textField()->reset();
  }
}

void CodableErrorDecoder::other(std::string_view kind) {
  if (!isIgnored()) failType(kind);
}

void CodableErrorDecoder::failType(std::string_view found) const {
  throw decodingError(NSCoderReadCorruptError, path() + " must not be " + std::string(found) + '.');
}

void CodableErrorDecoder::failMissing(std::string_view name) const {
  const std::string where = levels_.empty() ? "" : " in " + path();
  throw decodingError(NSCoderValueNotFoundError, '"' + std::string(name) + "\" is missing" + where + '.');
}

std::string CodableErrorDecoder::path() const {
  if (levels_.empty()) return "The whole";
  std::string path = levels_.size() > shownLevels ? "…" : "";
  for (std::size_t i = levels_.size() - std::min(levels_.size(), shownLevels); i < levels_.size(); ++i) {
    const Level& level = levels_[i];
    if (level.current == Field::unknown) break;
    if (!path.empty()) path += '.';
    path += nameOf(level.current);
    if (level.inList) path += '[' + std::to_string(level.fields.multipleUnderlyingErrors->size()) + ']';
  }
  return '"' + path + '"';
}

}  // namespace QVFoundation::detail
