#include "QVFoundation/values/QVVersionNumber.h"

#include "QVFoundation/platform/concurrency/TaskFrames.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/ChangeNotice.h"
#include "QVFoundation/platform/runtime/MutableArrayProxy.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSCoder.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/text/Format.h"
#include "QVFoundation/platform/text/Unicode.h"
#include "QVFoundation/values/VersionParsing_p.h"

namespace QVFoundation {

namespace {

/// Versions come and go in masses where many are read, so a thread keeps the memory of some for the next ones.
template <class T>
struct VersionAllocator {
  using value_type = T;

  VersionAllocator() noexcept = default;
  template <class Other>
  VersionAllocator(const VersionAllocator<Other>& /*other*/) noexcept {}

  [[nodiscard]] T* allocate(std::size_t count) {
    return static_cast<T*>(detail::takeFrame(count * sizeof(T)));
  }
  void deallocate(T* memory, std::size_t count) noexcept { detail::giveFrameBack(memory, count * sizeof(T)); }
  friend bool operator==(VersionAllocator, VersionAllocator) noexcept { return true; }
};

detail::VersionDigits digitsOfText(const std::optional<std::string_view>& text) {
  detail::VersionDigits digits;
  if (text) detail::readVersion(*text, digits);
  return digits;
}

void checkDigitIndex(std::size_t index, std::size_t limit) {
  if (index < limit) return;
  throw NSException(NSRangeException,
                    stringWithFormat("Index %zu lies behind the digits of the version", index));
}

[[maybe_unused]] const NSClass& versionNumberClass = QVVersionNumber::staticClass();

}  // namespace

QVVersionNumber::QVVersionNumber() noexcept = default;

QVVersionNumber::~QVVersionNumber() = default;

std::shared_ptr<QVVersionNumber> QVVersionNumber::versionWithString(
    const std::optional<std::string_view>& text) {
  if (!text) return nullptr;
  auto version = std::allocate_shared<QVVersionNumber>(VersionAllocator<QVVersionNumber>());
  detail::readVersion(*text, version->digits_);  // in place; nobody knows of it yet
  if (version->countOfDigits() == 0) version = nullptr;
  return version;
}

std::shared_ptr<QVVersionNumber> QVVersionNumber::versionWithBuildVersionString(
    const std::optional<std::string_view>& text) {
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
  const auto digits = digits_.all();
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

int QVVersionNumber::compare(const std::optional<std::string_view>& text) const {
  return digits_.compare(digitsOfText(text));
}

int QVVersionNumber::compareVersionString(const std::optional<std::string_view>& text,
                                          const std::optional<std::string_view>& other) {
  const detail::VersionDigits digits = digitsOfText(text);
  return digits.all().empty() ? 0 : digits.compare(digitsOfText(other));
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

void QVVersionNumber::encodeWithCoder(NSCoder& coder) const { coder.encodeObject(digits(), "digits"); }

void QVVersionNumber::initWithCoder(NSCoder& coder) {
  digits_ = detail::VersionDigits(
      coder.decodeObject<std::vector<std::int64_t>>("digits").value_or(std::vector<std::int64_t>()));
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
