#include "QVFoundation/collections/QVReordering.h"

#include <string>

#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation::detail {

namespace {

[[noreturn]] void refuseLength(std::size_t entries, std::size_t count) {
  throw NSException(NSRangeException, "An index map of " + std::to_string(entries) +
                                          " entries does not fit a list of " + std::to_string(count) +
                                          " elements");
}

}  // namespace

std::span<const std::size_t> firstEntries(const QVIndexMap& map, std::size_t count) {
  if (map.count() < count) refuseLength(map.count(), count);
  return map.indices().first(count);
}

void checkLength(const QVIndexMap& map, std::size_t count) {
  if (map.count() > count) refuseLength(map.count(), count);
}

bool isPermutation(std::span<const std::size_t> entries) {
  std::vector<bool> seen(entries.size());
  for (const std::size_t entry : entries) {
    if (seen[entry]) return false;
    seen[entry] = true;
  }
  return true;
}

void refuseToCopy() {
  throw NSException(NSInvalidArgumentException,
                    "An index map that is no permutation asks for copies of elements that cannot be copied");
}

}  // namespace QVFoundation::detail
