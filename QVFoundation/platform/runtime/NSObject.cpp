#include "QVFoundation/platform/runtime/NSObject.h"

#include <functional>
#include <sstream>

#include "QVFoundation/platform/runtime/KeyValueCoding.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/runtime/ObservationInfo_p.h"
#include "QVFoundation/platform/runtime/TypeName.h"

namespace QVFoundation {

NSObject::NSObject(HearsOwnChanges /*tag*/) noexcept
    : observations_(&detail::ObservationHead::ofObjectAlone) {}

NSObject::~NSObject() {
  if (mayBeObserved()) detail::ObservationInfo::objectDies(*this);
}

void NSObject::valueDidChange(std::string_view /*key*/) noexcept {}

const NSClass& NSObject::staticClass() {
  // Never destroyed, so that objects serve to the end of the process.
  static const NSClass& cls = *new NSClass(NSClass::define<NSObject>("NSObject"));
  return cls;
}

const NSClass& NSObject::dynamicClass() const { return staticClass(); }

std::string NSObject::className() const {
  const NSClass& cls = dynamicClass();
  return cls.describes(typeid(*this)) ? cls.name() : unqualifiedTypeName(typeid(*this));
}

bool NSObject::isEqual(const NSObject& other) const { return this == &other; }
std::partial_ordering NSObject::compare(const NSObject& other) const {
  return isEqual(other) ? std::partial_ordering::equivalent : std::partial_ordering::unordered;
}

std::size_t NSObject::hash() const { return std::hash<const NSObject*>{}(this); }

std::shared_ptr<NSObject> NSObject::copy() const {
  throw NSException(NSInvalidArgumentException, shortDescription() + " cannot be copied");
}

std::string NSObject::description() const { return NSObject::shortDescription(); }

std::string NSObject::descriptionWithLocale(const NSLocale* /*locale*/, unsigned /*indent*/) const {
  return description();
}

std::string NSObject::debugDescription() const { return description(); }

std::string NSObject::shortDescription() const {
  std::ostringstream text;
  text << '<' << className() << ": " << static_cast<const void*>(this) << '>';
  return text.str();
}

Dictionary NSObject::debugDictionary() const { return {{"__self__", shortDescription()}}; }

Value NSObject::valueForKey(std::string_view key) const {
  const NSProperty* property = dynamicClass().property(key);
  return property != nullptr ? property->get(*this) : valueForUndefinedKey(key);
}

void NSObject::setValueForKey(const Value& value, std::string_view key) {
  const NSProperty* property = dynamicClass().property(key);
  if (property == nullptr) return setValueForUndefinedKey(value, key);
  if (!property->set) {
    throw NSException(NSInvalidArgumentException,
                      "The property \"" + std::string(key) + "\" of " + shortDescription() + " is read-only");
  }
  if (!property->set(*this, value)) {
    throw NSException(NSInvalidArgumentException, "The property \"" + std::string(key) + "\" of " +
                                                      shortDescription() + " cannot be set to " +
                                                      value.description());
  }
}

Value NSObject::valueForUndefinedKey(std::string_view key) const { throw undefinedKeyException(*this, key); }

void NSObject::setValueForUndefinedKey(const Value& /*value*/, std::string_view key) {
  throw undefinedKeyException(*this, key);
}

Value NSObject::valueForKeyPath(std::string_view keyPath) const {
  const auto dot = keyPath.find('.');
  Value value = valueForKey(keyPath.substr(0, dot));
  return dot == std::string_view::npos ? value
                                       : QVFoundation::valueForKeyPath(value, keyPath.substr(dot + 1));
}

void NSObject::setValueForKeyPath(const Value& value, std::string_view keyPath) {
  const auto dot = keyPath.rfind('.');
  if (dot == std::string_view::npos) return setValueForKey(value, keyPath);
  const auto ownerPath = keyPath.substr(0, dot);
  const auto key = keyPath.substr(dot + 1);
  const Value owner = valueForKeyPath(ownerPath);
  switch (owner.kind()) {
    case ValueKind::nothing: return;  // as reading past a missing object gives nothing
    case ValueKind::object: return owner.object()->setValueForKey(value, key);
    case ValueKind::dictionary: {
      Dictionary changed = owner.dictionary();
      changed.set(key, value);
      return setValueForKeyPath(changed, ownerPath);
    }
    default:
      throw NSException(NSUndefinedKeyException, "What " + shortDescription() + " has under \"" +
                                                     std::string(ownerPath) + "\" cannot be written by key");
  }
}

}  // namespace QVFoundation
