#include <bit>

#include "QVFoundation/platform/serialization/TextDecoding_p.h"
#include "QVFoundation/platform/text/Unicode.h"

namespace QVFoundation::detail {

namespace {

struct Encoding {
  std::size_t markLength = 0;
  bool isUTF16 = false;
  std::endian order = std::endian::native;
};

Encoding encodingOf(std::string_view bytes) {
  if (bytes.starts_with("\xEF\xBB\xBF")) return {3};
  if (bytes.starts_with("\xFF\xFE")) return {2, true, std::endian::little};
  if (bytes.starts_with("\xFE\xFF")) return {2, true, std::endian::big};
  if (bytes.size() < 2 || (bytes[0] == '\0') == (bytes[1] == '\0')) return {};
  return {0, true, bytes[0] == '\0' ? std::endian::big : std::endian::little};
}

}  // namespace

std::string_view decodedText(std::span<const std::byte> bytes, std::string& storage) {
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  const Encoding encoding = encodingOf(text);
  if (!encoding.isUTF16) return text.substr(encoding.markLength);
  storage = stringFromUTF16(bytes.subspan(encoding.markLength), encoding.order);
  return storage;
}

}  // namespace QVFoundation::detail
