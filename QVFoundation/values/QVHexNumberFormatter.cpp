#include "QVFoundation/values/QVHexNumberFormatter.h"

#include <algorithm>
#include <limits>
#include <span>

#include "QVFoundation/platform/application/LibraryBundle_p.h"
#include "QVFoundation/platform/runtime/ChangeNotice.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/values/HexCoding_p.h"
#include "QVFoundation/values/HexUtils.h"

namespace QVFoundation {

namespace {

/// A number as its 64 bits, and the bytes that hold it.
struct Bits {
  std::uint64_t bits = 0;
  std::size_t size = 0;
};

template <class Integer>
bool fitsIn(std::int64_t number) {
  return number >= std::numeric_limits<Integer>::min();
}

Bits bitsOfNegative(std::int64_t number) {
  const std::size_t size = fitsIn<std::int8_t>(number)    ? 1
                           : fitsIn<std::int16_t>(number) ? 2
                           : fitsIn<std::int32_t>(number) ? 4
                                                          : 8;
  return {static_cast<std::uint64_t>(number), size};
}

Bits bitsOfPositive(std::uint64_t number) {
  return {number, number <= 0xFF ? 1U : number <= 0xFFFF ? 2U : number <= 0xFFFFFFFF ? 4U : 8U};
}

Bits bitsOfFloating(double number) {
  constexpr double tooLarge = 0x1p64;
  if (number >= tooLarge) return bitsOfPositive(std::numeric_limits<std::uint64_t>::max());
  if (number >= 0) return bitsOfPositive(static_cast<std::uint64_t>(number));
  if (number <= -1) {
    constexpr auto lowest = std::numeric_limits<std::int64_t>::min();
    return bitsOfNegative(number <= static_cast<double>(lowest) ? lowest : static_cast<std::int64_t>(number));
  }
  return bitsOfPositive(0);
}

Bits bitsOf(const NSNumber& number) {
  if (number.isFloatingPoint()) return bitsOfFloating(number.doubleValue());
  if (const auto positive = number.exactly<std::uint64_t>()) return bitsOfPositive(*positive);
  return bitsOfNegative(number.exactly<std::int64_t>().value_or(0));
}

}  // namespace

const NSClass& QVHexNumberFormatter::staticClass() {
  static const NSClass& cls = *new NSClass(
      NSClass::define<QVHexNumberFormatter>("QVHexNumberFormatter", NSNumberFormatter::staticClass())
          .property("byteOrder", &QVHexNumberFormatter::byteOrder, &QVHexNumberFormatter::setByteOrder)
          .property("prepend0x", &QVHexNumberFormatter::prepend0x, &QVHexNumberFormatter::setPrepend0x));
  return cls;
}

void QVHexNumberFormatter::setByteOrder(ByteOrder byteOrder) {
  const ChangeNotice notice(*this, "byteOrder");
  byteOrder_ = byteOrder;
}

void QVHexNumberFormatter::setPrepend0x(bool prepend0x) {
  const ChangeNotice notice(*this, "prepend0x");
  prepend0x_ = prepend0x;
}

std::string QVHexNumberFormatter::stringForNumber(const NSNumber& number) const {
  const auto [bits, size] = bitsOf(number);
  auto all = detail::bytesOfNumber(bits);
  const auto bytes = std::span(all).last(size);
  if (byteOrder_ == ByteOrder::littleEndian) std::ranges::reverse(bytes);
  return hexString(bytes);
}

std::optional<std::string> QVHexNumberFormatter::stringForObjectValue(const Value& value) const {
  auto text = editingStringForObjectValue(value);
  if (text && prepend0x_) text->insert(0, "0x");
  return text;
}

std::optional<std::string> QVHexNumberFormatter::editingStringForObjectValue(const Value& value) const {
  if (value.number() == nullptr) return {};
  return stringForNumber(*value.number());
}

bool QVHexNumberFormatter::getObjectValue(Value* value, std::string_view string,
                                          std::string* errorDescription) const {
  const auto bytes = hexStringDataWithPadding(string, false, errorDescription);
  if (!bytes) return false;
  detail::BytesOfNumber number{};
  if (bytes->size() > number.size()) {
    if (errorDescription != nullptr) {
      // The key is spelled as translations know it.
      *errorDescription = detail::libraryBundle()->localizedStringForKey(
          "Hexademical value too long for numeric value (8 bytes max)");
    }
    return false;
  }
  const bool isAtEnd = byteOrder_ == ByteOrder::bigEndian;
  std::ranges::copy(*bytes, isAtEnd ? number.end() - std::ssize(*bytes) : number.begin());
  if (byteOrder_ == ByteOrder::littleEndian) std::ranges::reverse(number);
  if (value != nullptr) *value = static_cast<std::int64_t>(detail::numberOfBytes(number));
  return true;
}

}  // namespace QVFoundation
