#include "QVFoundation/values/QVHexNumberFormatter.h"

#include <cmath>
#include <limits>
#include <string>

#include <gtest/gtest.h>

namespace QVFoundation {
namespace {

using ByteOrder = QVHexNumberFormatter::ByteOrder;
constexpr auto neitherOrder = static_cast<ByteOrder>(0);

TEST(QVHexNumberFormatter, writesAsFewBytesAsHoldTheNumber) {
  const struct {
    NSNumber number;
    std::string_view bigEndian, littleEndian;
  } rows[] = {
      {0, "00", "00"},
      {255, "FF", "FF"},
      {256, "0100", "0001"},
      {65535, "FFFF", "FFFF"},
      {65536, "00010000", "00000100"},
      {0xFFFFFFFF, "FFFFFFFF", "FFFFFFFF"},
      {0x100000000, "0000000100000000", "0000000001000000"},
      {-1, "FF", "FF"},
      {-128, "80", "80"},
      {-129, "FF7F", "7FFF"},
      {-32768, "8000", "0080"},
      {-32769, "FFFF7FFF", "FF7FFFFF"},
      {std::numeric_limits<std::int32_t>::min(), "80000000", "00000080"},
      {std::int64_t{-2147483649}, "FFFFFFFF7FFFFFFF", "FFFFFF7FFFFFFFFF"},
      // Stored without a sign, so not the -1 that has the same bits.
      {std::numeric_limits<std::uint64_t>::max(), "FFFFFFFFFFFFFFFF", "FFFFFFFFFFFFFFFF"},
      {true, "01", "01"},
      {258.9, "0102", "0201"},
      {-0.9, "00", "00"},
      {-1.9, "FF", "FF"},
      {1e300, "FFFFFFFFFFFFFFFF", "FFFFFFFFFFFFFFFF"},
      {-1e300, "8000000000000000", "0000000000000080"},
      {std::nan(""), "00", "00"},
  };
  const QVHexNumberFormatter big;
  QVHexNumberFormatter little;
  little.setByteOrder(ByteOrder::littleEndian);
  QVHexNumberFormatter neither;
  neither.setByteOrder(neitherOrder);
  for (const auto& row : rows) {
    EXPECT_EQ(big.stringForNumber(row.number), row.bigEndian) << row.number.description();
    EXPECT_EQ(little.stringForNumber(row.number), row.littleEndian) << row.number.description();
    EXPECT_EQ(neither.stringForNumber(row.number), row.bigEndian) << row.number.description();
  }
}

TEST(QVHexNumberFormatter, prefixesWhatIsShownAndNotWhatIsEdited) {
  QVHexNumberFormatter formatter;
  EXPECT_EQ(formatter.stringForObjectValue(258), "0102");
  formatter.setValueForKey(true, "prepend0x");
  EXPECT_EQ(formatter.stringForObjectValue(258), "0x0102");
  EXPECT_EQ(formatter.editingStringForObjectValue(258), "0102");
  EXPECT_EQ(formatter.stringForObjectValue("258"), std::nullopt);
}

TEST(QVHexNumberFormatter, readsUpToEightBytes) {
  constexpr std::string_view tooLong = "Hexademical value too long for numeric value (8 bytes max)";
  const struct {
    ByteOrder order;
    std::string_view text;
    Value value;
    std::string_view error;
  } rows[] = {
      {ByteOrder::bigEndian, "0102", 258, ""},
      {ByteOrder::littleEndian, "0102", 513, ""},
      {neitherOrder, "0102", std::int64_t{0x0102} << 48, ""},  // as the highest bytes
      {ByteOrder::bigEndian, "0x 00 ff", 255, ""},
      {ByteOrder::bigEndian, "FFFFFFFFFFFFFFFE", -2, ""},
      {ByteOrder::bigEndian, "FF", 255, ""},
      {ByteOrder::bigEndian, "", 0, ""},
      {ByteOrder::bigEndian, "000000000000000001", {}, tooLong},
      {ByteOrder::bigEndian, "1", {}, "Hexadecimal string must have an even number of hex characters"},
      {ByteOrder::bigEndian, "0y", {}, "Illegal character for hexadecimal string (y)"},
  };
  for (const auto& row : rows) {
    QVHexNumberFormatter formatter;
    formatter.setByteOrder(row.order);
    Value value;
    std::string error;
    EXPECT_EQ(formatter.getObjectValue(&value, row.text, &error), row.error.empty()) << row.text;
    EXPECT_EQ(value, row.value) << row.text;
    EXPECT_EQ(error, row.error) << row.text;
    EXPECT_EQ(formatter.getObjectValue(nullptr, row.text), row.error.empty()) << row.text;
    EXPECT_TRUE(value.isNothing() || value.number()->type() == NSNumber::Type::int64) << row.text;
  }
}

}  // namespace
}  // namespace QVFoundation
