#include "QVFoundation/collections/QVSortMap.h"

#include "QVFoundation/collections/SortKeys_p.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/runtime/ValueOrder.h"

namespace QVFoundation::detail {

namespace {

template <class Key>
QVIndexMap sortMapOfPlain(const std::vector<Key>& keys, bool ascending) {
  if (ascending)
    return sortMapOfView(std::views::all(keys), [](const Key& a, const Key& b) { return a <=> b; });
  return sortMapOfView(std::views::all(keys), [](const Key& a, const Key& b) { return b <=> a; });
}

}  // namespace

QVIndexMap sortMapOfKeys(const std::vector<Value>& keys, std::string_view keyPath, bool ascending) {
  if (keys.size() < 2) return QVIndexMap::identityMapWithCount(keys.size());
  if (const auto numbers = numericKeys(keys)) return sortMapOfPlain(*numbers, ascending);
  if (const auto texts = textKeys(keys)) return sortMapOfPlain(*texts, ascending);
  return sortMapOfView(std::views::all(keys), [=](const Value& a, const Value& b) {
    const int order = compareValuesUnder(keyPath, a, b);
    return ascending ? order : -order;
  });
}

QVIndexMap sortMapOfKeys(const std::vector<std::vector<Value>>& keys,
                         const std::vector<NSSortDescriptor>& descriptors, std::size_t count) {
  if (descriptors.size() == 1 && !descriptors.front().comparator()) {
    const NSSortDescriptor& only = descriptors.front();
    return sortMapOfKeys(keys.front(), only.keyPath().value_or(""), only.ascending());
  }
  const auto compareElements = [&](std::size_t a, std::size_t b) {
    for (std::size_t i = 0; i < descriptors.size(); ++i) {
      if (const int order = descriptors[i].compareKeys(keys[i][a], keys[i][b]); order != 0) return order;
    }
    return 0;
  };
  return sortMapOfView(std::views::iota(std::size_t{0}, count), compareElements);
}

void refuseToCompare() {
  throw NSException(NSInvalidArgumentException,
                    "The elements themselves cannot be compared: name a key path");
}

}  // namespace QVFoundation::detail
