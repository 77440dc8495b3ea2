#include "QVFoundation/platform/files/FileReference.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "fuzz/Require.h"

using namespace QVFoundation;
using fuzzing::require;

namespace {

/// What is accepted is written again byte for byte; what is refused is so for a reason.
void checkRecord(std::span<const std::byte> record) {
  std::optional<NSError> error;
  if (const auto reference = FileReference::fromData(record, &error)) {
    require(std::ranges::equal(reference->data(), record));
    require(reference->path().is_absolute());
  } else {
    require(error && error->code() == NSCoderReadCorruptError && !error->localizedDescription().empty());
  }
}

/// The checksum that a record must end in, which chance would not find.
NSData withChecksum(std::span<const std::byte> content) {
  NSData record(content.begin(), content.end());
  std::uint64_t sum = 0xcbf29ce484222325;
  for (const std::byte byte : content) sum = (sum ^ std::to_integer<std::uint64_t>(byte)) * 0x100000001b3;
  for (unsigned shift = 0; shift < 64; shift += 8) record.push_back(static_cast<std::byte>(sum >> shift));
  return record;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto bytes = std::as_bytes(std::span(data, size));
  checkRecord(bytes);
  checkRecord(withChecksum(bytes));
  return 0;
}
