#include "QVFoundation/values/QVVersionNumber.h"

#include <algorithm>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/ChangeNotice.h"
#include "QVFoundation/platform/runtime/MutableArrayProxy.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/text/Format.h"
#include "QVFoundation/platform/text/Unicode.h"
#include "QVFoundation/values/VersionParsing_p.h"

namespace QVFoundation {

namespace {

using Digits = std::span<const std::int64_t>;

int compareDigit(std::int64_t a, std::int64_t b) noexcept { return a < b ? -1 : static_cast<int>(a > b); }

int compareDigits(Digits a, Digits b) noexcept {
  const std::size_t common = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < common; ++i) {
    if (const int order = compareDigit(a[i], b[i])) return order;
  }
  for (const std::int64_t digit : a.subspan(common)) {
    if (const int order = compareDigit(digit, 0)) return order;
  }
  // One-sided on purpose: of what the other has more, only the first digit counts.
  return b.size() > common ? compareDigit(0, b[common]) : 0;
}

void checkDigitIndex(std::size_t index, std::size_t limit) {
  if (index < limit) return;
  throw NSException(NSRangeException,
                    stringWithFormat("Index %zu lies behind the digits of the version", index));
}

}  // namespace

QVVersionNumber::~QVVersionNumber() = default;

std::shared_ptr<QVVersionNumber> QVVersionNumber::versionWithString(std::optional<std::string_view> text) {
  if (!text) return nullptr;
  detail::VersionDigits digits = detail::versionDigits(*text);
  return digits.all().empty() ? nullptr : std::make_shared<QVVersionNumber>(std::move(digits));
}

std::shared_ptr<QVVersionNumber> QVVersionNumber::versionWithBuildVersionString(
    std::optional<std::string_view> text) {
  return std::make_shared<QVVersionNumber>(detail::buildVersionDigits(text.value_or("")));
}

const NSClass& QVVersionNumber::staticClass() {
  static const NSClass& cls =
      *new NSClass(NSClass::define<QVVersionNumber>("QVVersionNumber", NSObject::staticClass())
                       .property("digits", &QVVersionNumber::digits, &QVVersionNumber::setDigits)
                       .readOnly("versionString", &QVVersionNumber::versionString)
                       .affectedBy({"digits"})
                       .readOnly("majorVersionNumber", &QVVersionNumber::majorVersionNumber)
                       .affectedBy({"digits"})
                       .readOnly("minorVersionNumber", &QVVersionNumber::minorVersionNumber)
                       .affectedBy({"digits"})
                       .readOnly("bugFixVersionNumber", &QVVersionNumber::bugFixVersionNumber)
                       .affectedBy({"digits"}));
  return cls;
}

std::string QVVersionNumber::versionString() const {
  const Digits digits = digits_.all();
  std::string text;
  for (std::size_t i = 0; i < digits.size(); ++i) {
    if (digits[i] < 0) {
      // A letter; other negative numbers give whatever UTF-16 has there.
      const auto letter = static_cast<char16_t>(digits[i] + 'z');
      appendUTF8(text, std::u16string_view(&letter, 1));
      continue;
    }
    text += std::to_string(static_cast<std::int32_t>(digits[i]));
    if (i + 1 < digits.size() && digits[i + 1] >= 0) text += '.';
  }
  return text;
}

int QVVersionNumber::compare(const QVVersionNumber& other) const noexcept {
  return compareDigits(digits_.all(), other.digits_.all());
}

int QVVersionNumber::compare(std::optional<std::string_view> text) const {
  return compareDigits(digits_.all(), detail::versionDigits(text.value_or("")).all());
}

int QVVersionNumber::compareVersionString(std::optional<std::string_view> text,
                                          std::optional<std::string_view> other) {
  const detail::VersionDigits digits = detail::versionDigits(text.value_or(""));
  if (digits.all().empty()) return 0;
  return compareDigits(digits.all(), detail::versionDigits(other.value_or("")).all());
}

std::partial_ordering QVVersionNumber::compare(const NSObject& other) const {
  const auto* const version = dynamic_cast<const QVVersionNumber*>(&other);
  if (version == nullptr) return NSObject::compare(other);
  return compare(*version) <=> 0;
}

bool QVVersionNumber::isEqual(const NSObject& other) const {
  const auto* const version = dynamic_cast<const QVVersionNumber*>(&other);
  return version != nullptr ? compare(*version) == 0 : NSObject::isEqual(other);
}

std::shared_ptr<NSObject> QVVersionNumber::copy() const {
  return std::const_pointer_cast<NSObject>(shared_from_this());
}

std::string QVVersionNumber::description() const {
  return stringWithFormat("%@: {digits = %@, versionString = %@}", NSObject::description(), Value(digits()),
                          versionString());
}

void QVVersionNumber::setDigits(const std::vector<std::int64_t>& digits) {
  const ChangeNotice notice(*this, "digits");
  digits_ = detail::VersionDigits(digits);
}

std::int64_t QVVersionNumber::objectInDigitsAtIndex(std::uint32_t index) const {
  checkDigitIndex(index, countOfDigits());
  return digits_.all()[index];
}

void QVVersionNumber::insertObject(std::int64_t digit, std::uint32_t index) {
  checkDigitIndex(index, countOfDigits() + 1);
  const ToManyChangeNotice notice(*this, "digits", NSKeyValueChangeKind::insertion, {index});
  auto digits = digits_.vector();
  digits.insert(digits.begin() + index, digit);
  digits_ = detail::VersionDigits(digits);
}

void QVVersionNumber::removeObjectFromDigitsAtIndex(std::uint32_t index) {
  checkDigitIndex(index, countOfDigits());
  const ToManyChangeNotice notice(*this, "digits", NSKeyValueChangeKind::removal, {index});
  auto digits = digits_.vector();
  digits.erase(digits.begin() + index);
  digits_ = detail::VersionDigits(digits);
}

void QVVersionNumber::addDigit(std::int64_t digit) { mutableArrayValueForKey(*this, "digits").append(digit); }

}  // namespace QVFoundation
