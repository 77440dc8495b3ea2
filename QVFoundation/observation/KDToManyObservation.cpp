#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "QVFoundation/observation/ElementFamily_p.h"
#include "QVFoundation/observation/KDBlockObservation.h"
#include "QVFoundation/observation/ObserverMap_p.h"

namespace QVFoundation {

namespace detail {

void addElementObserver(NSObject& object, std::string_view key, std::vector<std::string> subKeyPaths,
                        NSKeyValueObservingOptions options, ElementObservationTask task) {
  const std::string identifier = observationIdentifierForSubKeyPaths(subKeyPaths);
  const auto family = std::make_shared<ElementFamily>(key, std::move(subKeyPaths), options, identifier,
                                                      checkedTask(std::move(task), object, key));
  const std::string token = keyForTarget(object, key, identifier);
  const auto trampoline = std::make_shared<KDObserverTrampoline>(
      object, key, QVDefaultObservingOptions,
      [family](NSObject& list, const NSKeyValueChange& change) { family->follow(list, change); }, family);
  ObserverMap::start(object, token, trampoline);
  try {
    family->begin(object);
  } catch (...) {
    ObserverMap::take(object, token, trampoline.get());
    trampoline->cancelObservation();
    throw;
  }
}

}  // namespace detail

void removeObserverForKey(NSObject& object, std::string_view key,
                          const std::vector<std::string>& subKeyPaths) {
  removeObserverForKeyPath(object, key, observationIdentifierForSubKeyPaths(subKeyPaths));
}

}  // namespace QVFoundation
