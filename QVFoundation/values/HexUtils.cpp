#include "QVFoundation/values/HexUtils.h"

#include <algorithm>
#include <bit>

#include "QVFoundation/platform/application/LibraryBundle_p.h"
#include "QVFoundation/platform/application/LocalizedText_p.h"
#include "QVFoundation/platform/text/Format.h"
#include "QVFoundation/platform/text/Unicode.h"
#include "QVFoundation/values/HexCoding_p.h"

namespace QVFoundation {

namespace {

// Bytes that are converted at once: growing a buffer clears what is new, which costs little where it stays in
// the processor's nearest cache until it is filled.
constexpr std::size_t hexBlock = 4096;

void appendHex(std::string& text, std::span<const std::byte> bytes) {
  const auto encode = detail::hexCoder().encode;
  while (!bytes.empty()) {
    const auto some = bytes.first(std::min(bytes.size(), hexBlock));
    const std::size_t end = text.size();
    text.resize(end + 2 * some.size());
    encode(some.data(), some.size(), text.data() + end);
    bytes = bytes.subspan(some.size());
  }
}

/// Writes groups of digits with blanks between them.
class HexGroups {
public:
  HexGroups(std::string& text, std::uint32_t padInterval)
      : text_(text), start_(text.size()), digits_(padInterval < 63 ? std::uint64_t{2} << padInterval : 0) {}

  /// Writes all whole chunks of that many bytes. What is counted are the blanks as well.
  void appendChunks(std::span<const std::byte>& bytes, std::size_t size) {
    for (; bytes.size() >= size; bytes = bytes.subspan(size)) {
      appendHex(text_, bytes.first(size));
      if (digits_ != 0 && (text_.size() - start_) % (digits_ + 1) == digits_) text_ += ' ';
    }
  }

private:
  std::string& text_;
  std::size_t start_;
  std::uint64_t digits_;  // of a group; 0 where no text is as long
};

/// The bytes of all pairs before the first one that is no pair of digits.
NSData bytesOfHex(std::string_view digits) {
  const auto decode = detail::hexCoder().decode;
  const std::size_t count = digits.size() / 2;
  NSData bytes;
  bytes.reserve(count);
  while (bytes.size() < count) {
    const std::size_t done = bytes.size();
    const std::size_t wanted = std::min(count - done, hexBlock);
    bytes.resize(done + wanted);
    const std::size_t read = decode(digits.data() + 2 * done, wanted, bytes.data() + done);
    if (read < wanted) {
      bytes.resize(done + read);
      break;
    }
  }
  return bytes;
}

std::string withoutBlanks(std::string_view text) {
  const NSCharacterSet& blanks = NSCharacterSet::whitespaceAndNewlineCharacterSet();
  std::string kept;
  kept.reserve(text.size() + 1);
  while (!text.empty()) {
    const DecodedCodePoint next = decodeUTF8(text);
    if (!blanks.contains(next.codePoint)) kept += text.substr(0, next.length);
    text.remove_prefix(next.length);
  }
  return kept;
}

/// The first character that is no digit.
std::string illegalCharacter(std::string_view digits) {
  const auto isDigit = [](char c) { return hexCharacterSet().contains(static_cast<unsigned char>(c)); };
  digits.remove_prefix(static_cast<std::size_t>(std::ranges::find_if_not(digits, isDigit) - digits.begin()));
  return replacingInvalidUTF8(digits.substr(0, decodeUTF8(digits).length));
}

std::string oddLengthText() {
  return detail::libraryBundle()->localizedStringForKey(
      "Hexadecimal string must have an even number of hex characters");
}

// The program's bundle, unlike for an odd length.
std::string illegalCharacterText(std::string_view digits) {
  return detail::localizedText("Illegal character for hexadecimal string (%@)", illegalCharacter(digits));
}

template <class Float>
std::string hexOfMemory(Float number) {
  return hexString(std::as_bytes(std::span(&number, 1)));
}

std::string hexOfInteger(std::optional<std::int64_t> number, std::size_t size) {
  const auto bytes = detail::bytesOfNumber(static_cast<std::uint64_t>(number.value_or(0)));
  return hexString(std::span(bytes).last(size));
}

/// Finds the runs of bytes that differ and writes a line for each.
class DiffReport {
public:
  using Bytes = std::span<const std::byte>;

  DiffReport(Bytes a, Bytes b) : a_(a), b_(b) {
    if (a.size() != b.size()) {
      text_ = stringWithFormat("Length of data differs: %d != %d\n", static_cast<std::int32_t>(a.size()),
                               static_cast<std::int32_t>(b.size()));
    }
  }

  std::string text() && {
    const std::size_t common = std::min(a_.size(), b_.size());
    std::size_t start = 0;
    for (std::size_t at = 0; at < common; ++at) {
      if (a_[at] != b_[at]) continue;
      append("{0x%x, %d}: 0x%@ -> 0x%@\n", start, at);
      start = at + 1;
    }
    // What differs up to the end is written without "0x" before the bytes, unlike all other runs.
    append("{0x%x, %d}: %@ -> %@\n", start, common);
    return std::move(text_);
  }

private:
  void append(std::string_view format, std::size_t start, std::size_t end) {
    if (start == end) return;
    text_ += stringWithFormat(format, start, end - start, hexString(a_.subspan(start, end - start)),
                              hexString(b_.subspan(start, end - start)));
  }

  Bytes a_;
  Bytes b_;
  std::string text_;
};

}  // namespace

const NSCharacterSet& hexCharacterSet() {
  // Never destroyed: texts are read to the end of the process.
  static const NSCharacterSet& digits = *new NSCharacterSet("0123456789abcdefABCDEF");
  return digits;
}

std::string hexStringWithBytes(std::span<const std::byte> bytes, std::uint32_t padInterval, bool prepend0x) {
  std::string text = prepend0x ? "0x" : "";
  if (padInterval == QVHexNotGrouped) {
    text.reserve(text.size() + 2 * bytes.size());
    appendHex(text, bytes);
    return text;
  }
  HexGroups groups(text, padInterval);
  if (padInterval >= 2) groups.appendChunks(bytes, 4);
  // Chunks of two bytes also where single ones are asked for, whose groups are therefore whole only now and
  // then.
  groups.appendChunks(bytes, 2);
  // A last byte that is alone ends the text, also where it completes a group.
  appendHex(text, bytes);
  return text;
}

std::string hexString(std::span<const std::byte> data) { return hexStringWithBytes(data); }

std::optional<std::string> hexString(const NSNumber& number) {
  switch (number.type()) {
    case NSNumber::Type::int16: return hexOfInteger(number.exactly<std::int64_t>(), sizeof(std::int16_t));
    case NSNumber::Type::int32: return hexOfInteger(number.exactly<std::int64_t>(), sizeof(std::int32_t));
    case NSNumber::Type::int64: return hexOfInteger(number.exactly<std::int64_t>(), sizeof(std::int64_t));
    // Floating numbers are written as they stand in memory, integers are not.
    case NSNumber::Type::float32: return hexOfMemory(static_cast<float>(number.doubleValue()));
    case NSNumber::Type::float64: return hexOfMemory(number.doubleValue());
    default: return {};
  }
}

std::optional<NSData> hexStringData(std::string_view text) { return hexStringDataWithPadding(text, false); }

std::optional<NSData> hexStringDataWithPadding(std::string_view text, bool padding,
                                               std::string* errorDescription) {
  if (text.starts_with("0x")) text.remove_prefix(2);
  NSData bytes = bytesOfHex(text);
  if (2 * bytes.size() == text.size()) return bytes;

  std::string digits = withoutBlanks(text);
  if (utf16UnitCount(digits) % 2 != 0) {
    if (!padding) {
      if (errorDescription != nullptr) *errorDescription = oddLengthText();
      return {};
    }
    digits.insert(digits.begin(), '0');
  }
  bytes = bytesOfHex(digits);
  if (2 * bytes.size() == digits.size()) return bytes;
  if (errorDescription != nullptr) *errorDescription = illegalCharacterText(digits);
  return {};
}

std::uint64_t hexStringUnsignedLongLong(std::string_view text) {
  detail::BytesOfNumber number{};
  const NSData bytes = hexStringData(text).value_or(NSData());
  std::copy_n(bytes.begin(), std::min(bytes.size(), number.size()), number.begin());
  return detail::numberOfBytes(number);
}

std::string diffWithData(std::span<const std::byte> data, std::span<const std::byte> other) {
  return DiffReport(data, other).text();
}

}  // namespace QVFoundation
