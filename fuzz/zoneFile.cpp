#include <cstddef>
#include <cstdint>

#include "fuzz/Input.h"
#include "fuzz/ZoneChecks.h"

// Two times, and the content of a zone file.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace QVFoundation;
  fuzzing::Input input(data, size);
  const auto a = input.take<std::int64_t>(), b = input.take<std::int64_t>();
  if (const auto history = detail::ZoneHistory::fromFile(input.bytes()))
    fuzzing::checkHistory(*history, a, b);
  return 0;
}
