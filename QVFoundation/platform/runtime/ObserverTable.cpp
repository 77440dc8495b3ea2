#include <algorithm>
#include <new>

#include "QVFoundation/platform/runtime/ObserverTable_p.h"

namespace QVFoundation::detail {

static_assert(alignof(ObserverHook) <= alignof(ObserverTable));

ObserverTable::Pointer ObserverTable::make(std::span<const OwnedHook> sorted) {
  void* memory = ::operator new(sizeof(ObserverTable) + sorted.size() * sizeof(ObserverHook));
  Pointer table(new (memory) ObserverTable(sorted.size()));
  auto* const first =
      reinterpret_cast<ObserverHook*>(static_cast<std::byte*>(memory) + sizeof(ObserverTable));
  std::uint32_t count = 0;
  for (std::size_t i = sorted.size(); i-- > 0;) {
    auto* const hook = new (first + i) ObserverHook(sorted[i].hook);
    const bool isLastOfKey = i + 1 == sorted.size() || hook->key != first[i + 1].key;
    count = isLastOfKey ? 1 : count + 1;
    hook->countOfKey = count;
  }
  return table;
}

void ObserverTable::Delete::operator()(const ObserverTable* table) const noexcept {
  ::operator delete(const_cast<ObserverTable*>(table));
}

std::span<const ObserverHook> ObserverTable::searchHooksFor(std::string_view key) const noexcept {
  const ObserverHook* const end = hooks() + count_;
  const ObserverHook* const hook = std::lower_bound(
      hooks(), end, key, [](const ObserverHook& a, std::string_view b) { return precedes(a.key, b); });
  if (hook == end || hook->key != key) return {};
  return {hook, hook->countOfKey};
}

}  // namespace QVFoundation::detail
