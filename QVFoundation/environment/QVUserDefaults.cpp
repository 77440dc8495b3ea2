#include "QVFoundation/environment/QVUserDefaults.h"

#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/serialization/PropertyList.h"

namespace QVFoundation {

bool qv_loadDefaults(NSUserDefaults& defaults) {
  return qv_loadDefaultsFromBundle(defaults, *NSBundle::mainBundle());
}

bool qv_loadDefaultsFromBundle(NSUserDefaults& defaults, const NSBundle& bundle) {
  const auto path = bundle.pathForResource("Defaults", "plist");
  return path && qv_loadDefaultsFromFile(defaults, *path);
}

bool qv_loadDefaultsFromFile(NSUserDefaults& defaults, const std::filesystem::path& path) {
  const auto values = dictionaryFromPropertyListFile(path);
  if (values) defaults.registerDefaults(*values);
  return values.has_value();
}

void qv_suppressShowFeedbackMenu() {
  NSUserDefaults::standardUserDefaults()->setObject(false, "NSShowFeedbackMenu");
}

}  // namespace QVFoundation
