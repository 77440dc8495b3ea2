#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/formatters/NSNumberFormatter.h"
#include "QVFoundation/platform/runtime/NSNumber.h"

namespace QVFoundation {

/// Shows numbers as hexadecimal bytes, as few of 1, 2, 4 or 8 as hold them, and reads up to eight bytes.
///
/// ```cpp
/// QVHexNumberFormatter formatter;
/// formatter.stringForNumber(258);      // "0102"
/// formatter.stringForNumber(-1);       // "FF"
/// ```
///
/// What it shows of a negative number it reads back as a positive one, since no sign is written. The settings of
/// other formatters for numbers do not matter to it.
///
/// Threads: reading from any thread; the settings are made before others have the formatter.
class QV_EXPORT QVHexNumberFormatter : public NSNumberFormatter {
public:
  enum class ByteOrder : std::uint64_t { littleEndian = 1, bigEndian = 2 };

  static const NSClass& staticClass();
  [[nodiscard]] const NSClass& dynamicClass() const override { return staticClass(); }

  /// Whether the lowest byte or the highest comes first. Any other number writes the highest byte first and
  /// takes what it reads as the highest bytes of eight.
  [[nodiscard]] ByteOrder byteOrder() const noexcept { return byteOrder_; }
  void setByteOrder(ByteOrder byteOrder);
  /// Whether "0x" stands in front, but for editing.
  [[nodiscard]] bool prepend0x() const noexcept { return prepend0x_; }
  void setPrepend0x(bool prepend0x);

  /// The bytes of a number without anything in front. What is stored without a sign is never negative.
  /// Fractions are cut off; what is beyond 64 bits is the nearest number that is not, and not-a-number is zero.
  [[nodiscard]] std::string stringForNumber(const NSNumber& number) const;

  [[nodiscard]] std::optional<std::string> stringForObjectValue(const Value& value) const override;
  [[nodiscard]] std::optional<std::string> editingStringForObjectValue(const Value& value) const override;
  /// Reads a number of 64 bits with a sign; of an empty text, 0.
  bool getObjectValue(Value* value, std::string_view string,
                      std::string* errorDescription = nullptr) const override;

private:
  ByteOrder byteOrder_ = ByteOrder::bigEndian;
  bool prepend0x_ = false;
};

}  // namespace QVFoundation
