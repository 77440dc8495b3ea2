#include "QVFoundation/values/QVInfoDictionaryCoding.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "QVFoundation/values/QVInfoDictionary.h"
#include "QVFoundation/values/QVInfoDictionary_p.h"

namespace QVFoundation {

namespace {

/// Each property stands for itself: what the object does not know or does not take costs no other one.
void setIfPossible(NSObject& object, const Value& value, const std::string& key) {
  try {
    object.setValueForKey(value, key);
  } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): files may have what an object has not
  }
}

}  // namespace

namespace detail {

Dictionary infoDictionaryOf(std::string className, Dictionary properties) {
  Dictionary info;
  info.set(infoClassKey, std::move(className));
  info.set(infoPropertiesKey, properties);
  return info;
}

Dictionary infoDictionaryOf(const NSObject& object, std::vector<std::string> keys) {
  Dictionary properties;
  for (std::string& key : keys) {
    Value value = object.valueForKey(key);
    if (!value.isNothing()) properties.set(std::move(key), std::move(value));
  }
  return infoDictionaryOf(object.className(), std::move(properties));
}

void applyProperties(NSObject& object, const Dictionary& info, const std::vector<std::string>& order) {
  const Dictionary properties = info[infoPropertiesKey].dictionary();
  for (const std::string& key : order) {
    const Value& value = properties[key];
    if (!value.isNothing()) setIfPossible(object, value, key);
  }
  for (const auto& [key, value] : properties) {
    if (key.text() == nullptr || std::ranges::find(order, *key.text()) != order.end()) continue;
    setIfPossible(object, value, *key.text());
  }
}

}  // namespace detail

QVInfoDictionaryCoding::~QVInfoDictionaryCoding() = default;

std::vector<std::string> QVInfoDictionaryCoding::infoDictionaryPropertyKeys() const { return {}; }

std::vector<std::string> QVInfoDictionaryCoding::propertyOrder() const { return {}; }

Dictionary QVInfoDictionaryCoding::infoDictionary() const {
  return detail::infoDictionaryOf(dynamic_cast<const NSObject&>(*this), infoDictionaryPropertyKeys());
}

bool QVInfoDictionaryCoding::initWithInfoDictionary(const Dictionary& info) {
  configureWithInfoDictionary(info);
  return true;
}

void QVInfoDictionaryCoding::configureWithInfoDictionary(const Dictionary& info) {
  detail::applyProperties(dynamic_cast<NSObject&>(*this), info, propertyOrder());
}

Dictionary infoDictionary(const NSObject& object) {
  const auto* coding = dynamic_cast<const QVInfoDictionaryCoding*>(&object);
  return coding != nullptr ? coding->infoDictionary() : detail::infoDictionaryOf(object, {});
}

void configureWithInfoDictionary(NSObject& object, const Dictionary& info) {
  if (auto* coding = dynamic_cast<QVInfoDictionaryCoding*>(&object)) {
    coding->configureWithInfoDictionary(info);
  } else {
    detail::applyProperties(object, info, {});
  }
}

}  // namespace QVFoundation
