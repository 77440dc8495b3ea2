#include "QVFoundation/values/QVValueTransformers.h"

#include <map>
#include <mutex>
#include <shared_mutex>
#include <utility>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/serialization/PropertyList.h"
#include "QVFoundation/values/QVCompoundValueTransformer.h"

namespace QVFoundation {

namespace {

using detail::NamedTransformerClass;
using Transformer = std::shared_ptr<NSValueTransformer>;

/// The classes that names may reach.
class TransformerClasses {
public:
  // Never destroyed: names are looked up to the end of the process.
  static TransformerClasses& shared() {
    static TransformerClasses& classes = *new TransformerClasses;
    return classes;
  }

  bool add(const NSClass& cls, NamedTransformerClass named) {
    const std::unique_lock lock(mutex_);
    return classes_.try_emplace(&cls, std::move(named)).second;
  }

  /// Null where the class is not registered. What is found stays.
  const NamedTransformerClass* find(const NSClass* cls) {
    const std::shared_lock lock(mutex_);
    const auto found = classes_.find(cls);
    return found != classes_.end() ? &found->second : nullptr;
  }

private:
  std::shared_mutex mutex_;
  std::map<const NSClass*, NamedTransformerClass> classes_;
};

std::vector<std::string> componentsOf(std::string_view text, std::string_view separator) {
  std::vector<std::string> components;
  for (std::size_t end = 0; (end = text.find(separator)) != std::string_view::npos;) {
    components.emplace_back(text.substr(0, end));
    text.remove_prefix(end + separator.size());
  }
  components.emplace_back(text);
  return components;
}

/// Only registered classes have anything to be called.
void initialize(std::string_view className) {
  const auto* const named = TransformerClasses::shared().find(NSClass::named(className));
  if (named != nullptr && named->initialize) named->initialize();
}

Transformer chainOf(const std::vector<std::string>& parts) {
  QVCompoundValueTransformer::Transformers transformers;
  for (const std::string& part : parts) {
    transformers.push_back(qv_valueTransformerWithComponentsString(part));
  }
  auto chain = std::make_shared<QVCompoundValueTransformer>();
  chain->setSubTransformers(std::move(transformers));
  return chain;
}

}  // namespace

bool detail::registerTransformerClass(const NSClass& cls, NamedTransformerClass named) {
  return TransformerClasses::shared().add(cls, std::move(named));
}

Transformer qv_valueTransformerWithComponents(const NSClass& cls,
                                              const QVValueTransformerComponents& components) {
  const auto* const named = TransformerClasses::shared().find(&cls);
  return named != nullptr ? named->make(components) : nullptr;
}

Transformer qv_valueTransformerWithComponentsString(std::string_view components) {
  if (auto registered = NSValueTransformer::valueTransformerForName(components)) return registered;
  std::vector<std::string> parts = componentsOf(components, "-");
  const NSClass* const cls = NSClass::named(parts.front() + "ValueTransformer");
  if (cls == nullptr) return nullptr;
  parts.erase(parts.begin());
  QVValueTransformerComponents arguments;
  if (!parts.empty()) arguments = std::move(parts);
  return qv_valueTransformerWithComponents(*cls, arguments);
}

Transformer qv_valueTransformerWithDynamicName(std::string_view name) {
  if (auto registered = NSValueTransformer::valueTransformerForName(name)) return registered;
  const std::vector<std::string> parts = componentsOf(name, "->");
  const Transformer made = parts.size() == 1 ? qv_valueTransformerWithComponentsString(name) : chainOf(parts);
  return made ? NSValueTransformer::addValueTransformer(made, std::string(name)) : nullptr;
}

void qv_loadTransformers(const NSBundle& bundle) {
  const auto path = bundle.pathForResource("ValueTransformerInfo", "plist");
  const auto info = path ? dictionaryFromPropertyListFile(*path) : std::nullopt;
  if (!info) return;
  for (const Value& className : (*info)["transformerClasses"].array()) {
    if (className.text() != nullptr) initialize(*className.text());
  }
  for (const Value& name : (*info)["dynamicValueTransformerNames"].array()) {
    if (name.text() != nullptr) qv_valueTransformerWithDynamicName(*name.text());
  }
}

void QVValueTransformerInit() { qv_loadTransformers(); }

}  // namespace QVFoundation
