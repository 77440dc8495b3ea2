#include "QVFoundation/platform/runtime/NSClass.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <shared_mutex>

namespace QVFoundation {

namespace {

/// The classes that can be found by name.
class Registry {
public:
  // Never destroyed, because classes leave it from their own destructors at the end of the process.
  static Registry& shared() {
    static Registry& registry = *new Registry;
    return registry;
  }

  void add(const NSClass& cls) {
    const std::unique_lock lock(mutex_);
    classes_.emplace(cls.name(), &cls);
  }

  void remove(const NSClass& cls) {
    const std::unique_lock lock(mutex_);
    auto [entry, end] = classes_.equal_range(cls.name());
    while (entry != end && entry->second != &cls) ++entry;
    if (entry != end) classes_.erase(entry);
  }

  const NSClass* find(std::string_view name) {
    const std::shared_lock lock(mutex_);
    const auto first = classes_.lower_bound(name);
    return first != classes_.end() && first->first == name ? first->second : nullptr;
  }

private:
  std::shared_mutex mutex_;
  std::multimap<std::string, const NSClass*, std::less<>>
      classes_;  // of one name in the order of registration
};

/// An order of names that mostly compares no more than their lengths.
bool precedes(std::string_view a, std::string_view b) noexcept {
  return a.size() != b.size() ? a.size() < b.size() : a < b;
}

}  // namespace

NSClass::NSClass(Parts parts) : parts_(std::move(parts)) {
  propertiesByName_ = properties();
  std::sort(propertiesByName_.begin(), propertiesByName_.end(),
            [](const NSProperty* a, const NSProperty* b) { return precedes(a->name, b->name); });
  Registry::shared().add(*this);
}

NSClass::NSClass(std::string name, const NSClass& superclass)
    : NSClass(Parts{std::move(name), &superclass, nullptr, {}, {}}) {}

NSClass::~NSClass() { Registry::shared().remove(*this); }

const NSClass* NSClass::named(std::string_view name) { return Registry::shared().find(name); }

bool NSClass::isSubclassOf(const NSClass& other) const noexcept {
  for (const NSClass* cls = this; cls != nullptr; cls = cls->superclass()) {
    if (cls == &other) return true;
  }
  return false;
}

const NSProperty* NSClass::property(std::string_view name) const noexcept {
  const auto entry = std::lower_bound(
      propertiesByName_.begin(), propertiesByName_.end(), name,
      [](const NSProperty* property, std::string_view sought) { return precedes(property->name, sought); });
  return entry != propertiesByName_.end() && (*entry)->name == name ? *entry : nullptr;
}

std::vector<const NSProperty*> NSClass::properties() const {
  std::vector<const NSProperty*> all;
  if (superclass() != nullptr) all = superclass()->properties();
  for (const NSProperty& property : parts_.properties) {
    std::erase_if(all, [&](const NSProperty* inherited) { return inherited->name == property.name; });
    all.push_back(&property);
  }
  return all;
}

}  // namespace QVFoundation
