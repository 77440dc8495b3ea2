#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/runtime/NSNumber.h"
#include "QVFoundation/platform/text/Unicode.h"
#include "QVFoundation/values/HexCoding_p.h"
#include "QVFoundation/values/HexUtils.h"
#include "fuzz/Input.h"
#include "fuzz/Require.h"

// A grouping, and bytes that are written, or a text that is read.

using namespace QVFoundation;
using fuzzing::require;

namespace {

using Bytes = std::span<const std::byte>;

void checkWriting(Bytes bytes, std::uint32_t interval, bool prepend0x) {
  const std::string text = hexStringWithBytes(bytes, interval, prepend0x);
  const auto again = hexStringData(text);
  require(again && std::ranges::equal(*again, bytes));
  const auto plain = hexStringData(hexString(bytes));
  require(plain && *plain == *again);
}

void checkReading(std::string_view text) {
  std::string problem;
  const auto bytes = hexStringDataWithPadding(text, false, &problem);
  require(bytes.has_value() == problem.empty() && isValidUTF8(problem));
  const auto padded = hexStringDataWithPadding(text, true);
  if (!bytes) {
    require(hexStringUnsignedLongLong(text) == 0 || padded);
  } else {
    require(padded == bytes);
    require(hexStringData(hexString(*bytes)) == bytes);
    detail::BytesOfNumber first{};
    std::copy_n(bytes->begin(), std::min(bytes->size(), first.size()), first.begin());
    require(hexStringUnsignedLongLong(text) == detail::numberOfBytes(first));
  }
}

/// All coders do the same.
void checkCoder(const detail::HexCoder& coder, Bytes bytes) {
  std::string text(2 * bytes.size(), ' '), expected = text;
  coder.encode(bytes.data(), bytes.size(), text.data());
  detail::portableHexCoder.encode(bytes.data(), bytes.size(), expected.data());
  require(text == expected);

  const std::string_view read(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  for (const std::string_view digits : {std::string_view(text), read}) {
    std::vector<std::byte> a(digits.size() / 2), b(digits.size() / 2);
    const std::size_t count = coder.decode(digits.data(), a.size(), a.data());
    require(count == detail::portableHexCoder.decode(digits.data(), b.size(), b.data()));
    require(count <= a.size() &&
            std::equal(a.begin(), a.begin() + static_cast<std::ptrdiff_t>(count), b.begin()));
  }
}

void checkDiff(Bytes bytes) {
  const Bytes a = bytes.first(bytes.size() / 2), b = bytes.last(bytes.size() / 2);
  require(diffWithData(a, a).empty());
  require(diffWithData(a, b).empty() == std::ranges::equal(a, b));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::Input input(data, size);
  const auto grouping = input.take<std::uint8_t>();
  const std::uint32_t interval = grouping % 80 == 79 ? QVHexNotGrouped : grouping % 80;
  checkWriting(input.bytes(), interval, grouping >= 128);
  checkReading(input.rest());
  if (const detail::HexCoder* wide = detail::wideHexCoder()) checkCoder(*wide, input.bytes());
  checkCoder(detail::hexCoder(), input.bytes());
  checkDiff(input.bytes());
  return 0;
}
