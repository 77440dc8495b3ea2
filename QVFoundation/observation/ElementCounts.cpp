#include <unordered_set>
#include <utility>

#include "QVFoundation/observation/ElementCounts_p.h"
#include "QVFoundation/platform/runtime/Array.h"

namespace QVFoundation::detail {

/// Finds out who comes and goes while counts change.
class ElementCounts::Exchange {
public:
  explicit Exchange(ElementCounts& counts) : counts_(counts) {}

  void takeOut(const Value& elements) {
    for (const Value& value : elements.array()) {
      if (auto element = value.object()) {
        takeOut(std::move(element));
      } else if (counts_.total_ > 0) {
        --counts_.total_;
      }
    }
  }
  void takeOutAll() {
    for (auto& [address, entry] : counts_.counts_) {
      if (auto element = entry.element.lock()) touch(std::move(element)).count = 0;
    }
    std::erase_if(counts_.counts_, [](const auto& entry) { return entry.second.element.expired(); });
    counts_.total_ = 0;
  }
  void putIn(const Value& elements) {
    for (const Value& value : elements.array()) {
      ++counts_.total_;
      if (auto element = value.object()) ++touch(std::move(element)).count;
    }
  }

  Difference difference() && {
    Difference difference;
    for (auto& [element, wasIn] : touched_) {
      const auto entry = counts_.counts_.find(element.get());
      const bool isIn = entry->second.count > 0;
      if (!isIn) counts_.counts_.erase(entry);
      if (isIn != wasIn) (isIn ? difference.added : difference.removed).push_back(std::move(element));
    }
    return difference;
  }

private:
  struct Touched {
    std::shared_ptr<NSObject> element;
    bool wasIn;
  };

  void takeOut(std::shared_ptr<NSObject> element) {
    Count& entry = touch(std::move(element));
    if (entry.count == 0) return;
    --entry.count;
    --counts_.total_;
  }
  Count& touch(std::shared_ptr<NSObject> element) {
    Count& entry = counts_.counts_[element.get()];
    if (entry.element.expired()) {  // new, or at the address of one that has gone
      counts_.total_ -= entry.count;
      entry = {element, 0};
    }
    if (isTouched_.insert(element.get()).second) touched_.push_back({std::move(element), entry.count > 0});
    return entry;
  }

  ElementCounts& counts_;
  std::vector<Touched> touched_;  // in the order of the lists
  std::unordered_set<const NSObject*> isTouched_;
};

ElementCounts::Difference ElementCounts::exchange(const Value& removed, const Value& added) {
  Exchange exchange(*this);
  exchange.takeOut(removed);
  exchange.putIn(added);
  return std::move(exchange).difference();
}

ElementCounts::Difference ElementCounts::set(const Value& list) {
  Exchange exchange(*this);
  exchange.takeOutAll();
  exchange.putIn(list);
  return std::move(exchange).difference();
}

}  // namespace QVFoundation::detail
