#include <utility>

#include "QVFoundation/observation/ElementCounts_p.h"
#include "QVFoundation/platform/runtime/Array.h"

namespace QVFoundation::detail {

ElementCounts::Difference ElementCounts::apply(const Value& oldElements, const Value& newElements) {
  struct Touched {
    std::shared_ptr<NSObject> element;
    bool wasIn;
  };
  std::vector<Touched> touched;  // in the order of the lists
  std::unordered_map<const NSObject*, bool> isTouched;
  const auto count = [&](const Value& elements, long difference) {
    for (const Value& value : elements.array()) {
      auto element = value.object();
      if (element == nullptr) continue;
      Count& entry = counts_[element.get()];
      if (entry.element.expired()) entry = {element, 0};  // new, or at the address of one that has gone
      if (!std::exchange(isTouched[element.get()], true)) touched.push_back({element, entry.count > 0});
      entry.count += difference;
    }
  };
  count(oldElements, -1);
  count(newElements, +1);

  Difference difference;
  for (auto& [element, wasIn] : touched) {
    const auto entry = counts_.find(element.get());
    const bool isIn = entry->second.count > 0;
    if (entry->second.count == 0) counts_.erase(entry);
    if (isIn == wasIn) continue;
    (isIn ? difference.added : difference.removed).push_back(std::move(element));
  }
  return difference;
}

ElementCounts::Elements ElementCounts::clear() {
  Elements elements;
  for (const auto& [address, entry] : std::exchange(counts_, {})) {
    auto element = entry.element.lock();
    if (element != nullptr && entry.count > 0) elements.push_back(std::move(element));
  }
  return elements;
}

}  // namespace QVFoundation::detail
