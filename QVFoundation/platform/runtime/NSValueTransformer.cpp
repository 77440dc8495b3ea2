#include "QVFoundation/platform/runtime/NSValueTransformer.h"

#include <functional>
#include <map>
#include <mutex>
#include <shared_mutex>
#include <utility>

#include "QVFoundation/platform/runtime/NSClass.h"

namespace QVFoundation {

namespace {

using Transformer = std::shared_ptr<NSValueTransformer>;

class NamedTransformers {
public:
  // Never destroyed: values are transformed to the end of the process.
  static NamedTransformers& shared() {
    static NamedTransformers& transformers = *new NamedTransformers;
    return transformers;
  }

  Transformer find(std::string_view name) {
    const std::shared_lock lock(mutex_);
    const auto found = transformers_.find(name);
    return found != transformers_.end() ? found->second : nullptr;
  }

  /// Returns what was there before, for the caller to let go of without the lock.
  Transformer exchange(Transformer transformer, std::string name) {
    const std::unique_lock lock(mutex_);
    if (transformer) return std::exchange(transformers_[std::move(name)], std::move(transformer));
    auto removed = transformers_.extract(name);
    return removed ? std::move(removed.mapped()) : nullptr;
  }

  Transformer add(const Transformer& transformer, std::string name) {
    const std::unique_lock lock(mutex_);
    return transformers_.try_emplace(std::move(name), transformer).first->second;
  }

  std::vector<std::string> names() {
    const std::shared_lock lock(mutex_);
    std::vector<std::string> names;
    names.reserve(transformers_.size());
    for (const auto& [name, transformer] : transformers_) names.push_back(name);
    return names;
  }

private:
  std::shared_mutex mutex_;
  std::map<std::string, Transformer, std::less<>> transformers_;  // none is null
};

}  // namespace

const NSClass& NSValueTransformer::staticClass() {
  static const NSClass& cls =
      *new NSClass(NSClass::define<NSValueTransformer>("NSValueTransformer", NSObject::staticClass()));
  return cls;
}

Transformer NSValueTransformer::valueTransformerForName(std::string_view name) {
  return NamedTransformers::shared().find(name);
}

void NSValueTransformer::setValueTransformer(Transformer transformer, std::string name) {
  NamedTransformers::shared().exchange(std::move(transformer), std::move(name));
}

Transformer NSValueTransformer::addValueTransformer(Transformer transformer, std::string name) {
  if (!transformer) return valueTransformerForName(name);
  return NamedTransformers::shared().add(transformer, std::move(name));
}

std::vector<std::string> NSValueTransformer::valueTransformerNames() {
  return NamedTransformers::shared().names();
}

}  // namespace QVFoundation
