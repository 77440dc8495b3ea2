#include <cstddef>
#include <cstdint>

#include "fuzz/Input.h"
#include "fuzz/ZoneChecks.h"

// Two times in seconds, 32 bits each, and a rule such as "CET-1CEST,M3.5.0,M10.5.0/3".

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace QVFoundation;
  fuzzing::Input input(data, size);
  const auto a = input.take<std::int32_t>(), b = input.take<std::int32_t>();
  if (const auto history = detail::ZoneHistory::fromRule(input.rest())) fuzzing::checkHistory(*history, a, b);
  return 0;
}
