#include "QVFoundation/observation/KDBlockObservation.h"

#include "QVFoundation/observation/KDObserverTrampoline_p.h"
#include "QVFoundation/observation/ObserverMap_p.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/text/Format.h"
#include "QVFoundation/platform/tracing/NSLog.h"

namespace QVFoundation {

namespace detail {

void addBlockObserver(NSObject& object, std::string_view keyPath, NSKeyValueObservingOptions options,
                      const std::optional<std::string>& identifier, ObservationTask task) {
  ObserverMap::start(object, keyForTarget(object, keyPath, identifier),
                     std::make_shared<KDObserverTrampoline>(object, keyPath, options,
                                                            checkedTask(std::move(task), object, keyPath)));
}

}  // namespace detail

void removeObserverForKeyPath(NSObject& object, std::string_view keyPath,
                              const std::optional<std::string>& identifier) {
  const std::string token = keyForTarget(object, keyPath, identifier);
  const auto trampoline = detail::ObserverMap::take(object, token);
  if (trampoline == nullptr) {
    NSLog("Tried to remove non-existent observer on %@ for token %@", object, token);
    throw NSException(NSInternalInconsistencyException, "Tried to remove non-existent observer");
  }
  trampoline->cancelObservation();
}

std::string keyForTarget(const NSObject& target, std::string_view keyPath,
                         const std::optional<std::string>& identifier) {
  return stringWithFormat("%p:%@:%@", &target, keyPath, identifier);
}

Dictionary observationDictionary(const NSObject& object) {
  const auto map = detail::ObserverMap::ofIfAny(object);
  return map != nullptr ? map->content() : Dictionary();
}

std::string observationIdentifierForSubKeyPaths(std::span<const std::string> subKeyPaths) {
  std::string identifier;
  for (const std::string& subKeyPath : subKeyPaths) {
    if (!identifier.empty()) identifier += '+';
    identifier += subKeyPath;
  }
  return identifier;
}

}  // namespace QVFoundation
