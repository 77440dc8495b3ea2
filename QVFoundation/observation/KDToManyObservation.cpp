#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "QVFoundation/observation/ElementCounts_p.h"
#include "QVFoundation/observation/KDBlockObservation.h"
#include "QVFoundation/observation/ObserverMap_p.h"
#include "QVFoundation/platform/concurrency/Mutex.h"
#include "QVFoundation/platform/runtime/ObservationInfo_p.h"

namespace QVFoundation {

namespace {

/// The registrations on the elements of one list. Associated with the object that has the list.
class ElementFamily {
public:
  ElementFamily(std::vector<std::string> subKeyPaths, NSKeyValueObservingOptions options,
                ElementObservationTask task)
      : subKeyPaths_(std::move(subKeyPaths)),
        identifier_(observationIdentifierForSubKeyPaths(subKeyPaths_)),
        options_(options),
        task_(std::make_shared<const ElementObservationTask>(std::move(task))) {}

  [[nodiscard]] static std::string associationKey(std::string_view key, std::string_view identifier) {
    return std::string("org.qvfoundation.observation.elements:").append(key).append(":").append(identifier);
  }
  [[nodiscard]] const std::string& identifier() const noexcept { return identifier_; }
  [[nodiscard]] const std::vector<std::string>& subKeyPaths() const noexcept { return subKeyPaths_; }

  void update(const Value& oldElements, const Value& newElements) {
    detail::ElementCounts::Difference difference;
    {
      const MutexLock guard(lock_);
      if (hasEnded_) return;
      difference = counts_.apply(oldElements, newElements);
    }
    for (const auto& element : difference.removed) removeFrom(*element);
    for (const auto& element : difference.added) addTo(*element);
  }

  void end() {
    detail::ElementCounts::Elements elements;
    {
      const MutexLock guard(lock_);
      hasEnded_ = true;
      elements = counts_.clear();
    }
    for (const auto& element : elements) removeFrom(*element);
  }

private:
  void addTo(NSObject& element) {
    for (const std::string& subKeyPath : subKeyPaths_) {
      detail::addBlockObserver(element, subKeyPath, options_, identifier_,
                               [task = task_, subKeyPath](NSObject& object, const NSKeyValueChange& change) {
                                 (*task)(object, subKeyPath, change);
                               });
    }
  }

  // What another family has taken over and ended is not there any more, and need not be.
  void removeFrom(NSObject& element) const {
    for (const std::string& subKeyPath : subKeyPaths_) {
      const std::string token = keyForTarget(element, subKeyPath, identifier_);
      if (const auto trampoline = detail::ObserverMap::take(element, token)) trampoline->cancelObservation();
    }
  }

  const std::vector<std::string> subKeyPaths_;
  const std::string identifier_;
  const NSKeyValueObservingOptions options_;
  const std::shared_ptr<const ElementObservationTask> task_;

  Mutex lock_;
  detail::ElementCounts counts_ QV_GUARDED_BY(lock_);
  bool hasEnded_ QV_GUARDED_BY(lock_) = false;
};

/// Takes the family of a list from its object; null where there is none.
std::shared_ptr<ElementFamily> takeFamily(NSObject& object, std::string_view key,
                                          std::string_view identifier) {
  auto* info = detail::ObservationInfo::ofIfAny(object);
  if (info == nullptr) return nullptr;
  const std::string associationKey = ElementFamily::associationKey(key, identifier);
  const auto family = info->associatedObject(associationKey);
  if (family != nullptr) info->dissociate(associationKey, family);
  return std::static_pointer_cast<ElementFamily>(family);
}

}  // namespace

namespace detail {

void addElementObserver(NSObject& object, std::string_view key, std::vector<std::string> subKeyPaths,
                        NSKeyValueObservingOptions options, ElementObservationTask task) {
  const auto family = std::make_shared<ElementFamily>(std::move(subKeyPaths), options, std::move(task));
  if (const auto former = takeFamily(object, key, family->identifier())) former->end();
  addBlockObserver(object, key, QVDefaultObservingOptions, family->identifier(),
                   [family](NSObject& /*object*/, const NSKeyValueChange& change) {
                     family->update(change.oldValue(), change.newValue());
                   });
  ObservationInfo::of(object).associateIfAbsent(ElementFamily::associationKey(key, family->identifier()),
                                                family);
  try {
    family->update({}, object.valueForKey(key));
  } catch (...) {
    removeObserverForKey(object, key, family->subKeyPaths());
    throw;
  }
}

}  // namespace detail

void removeObserverForKey(NSObject& object, std::string_view key,
                          const std::vector<std::string>& subKeyPaths) {
  const std::string identifier = observationIdentifierForSubKeyPaths(subKeyPaths);
  if (const auto family = takeFamily(object, key, identifier)) family->end();
  removeObserverForKeyPath(object, key, identifier);
}

}  // namespace QVFoundation
