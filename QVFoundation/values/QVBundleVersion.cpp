#include "QVFoundation/values/QVBundleVersion.h"

namespace QVFoundation {

namespace {

std::shared_ptr<QVVersionNumber> versionInEntry(const NSBundle& bundle, std::string_view key) {
  return QVVersionNumber::versionWithString(bundle.objectForInfoDictionaryKey(key).as<std::string>());
}

}  // namespace

std::shared_ptr<QVVersionNumber> versionNumber(const NSBundle& bundle) {
  return versionInEntry(bundle, "CFBundleVersion");
}

std::shared_ptr<QVVersionNumber> qv_displayVersionNumber(const NSBundle& bundle) {
  return versionInEntry(bundle, "CFBundleShortVersionString");
}

std::shared_ptr<QVVersionNumber> QVVersionNumber::mainBundleDisplayVersion() {
  return qv_displayVersionNumber(*NSBundle::mainBundle());
}

}  // namespace QVFoundation
