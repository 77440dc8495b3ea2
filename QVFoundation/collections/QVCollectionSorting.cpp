#include "QVFoundation/collections/QVCollectionSorting.h"

#include "QVFoundation/collections/SortKeys_p.h"
#include "QVFoundation/platform/runtime/ValueOrder.h"

namespace QVFoundation::detail {

namespace {

template <class Key>
std::vector<std::size_t> stableOrderOfPlain(const std::vector<Key>& keys) {
  return stableOrder(keys.size(),
                     [&keys](std::size_t a, std::size_t b) { return (keys[a] <=> keys[b]) > 0; });
}

}  // namespace

std::vector<std::size_t> stableOrder(const std::vector<Value>& keys, std::string_view keyPath) {
  if (const auto numbers = numericKeys(keys)) return stableOrderOfPlain(*numbers);
  if (const auto texts = textKeys(keys)) return stableOrderOfPlain(*texts);
  return stableOrder(keys.size(), [&keys, keyPath](std::size_t a, std::size_t b) {
    return compareValuesUnder(keyPath, keys[a], keys[b]) > 0;
  });
}

}  // namespace QVFoundation::detail
