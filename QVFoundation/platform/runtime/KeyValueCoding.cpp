#include "QVFoundation/platform/runtime/KeyValueCoding.h"

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Set.h"

namespace QVFoundation {

namespace {

constexpr unsigned deepestLevel = 100;  // of collections in collections, so that no input exhausts the stack

Value valueUnder(std::string_view key, const Value& value, unsigned level);

template <class Container>
Value valuesOfElements(std::string_view key, const Container& elements, unsigned level) {
  if (level > deepestLevel) {
    throw NSException(NSInvalidArgumentException,
                      "Collections are nested too deep to ask them for \"" + std::string(key) + '"');
  }
  Array values;
  values.reserve(elements.size());
  for (const Value& element : elements) {
    Value value = valueUnder(key, element, level + 1);
    values.append(value.isNothing() ? Value(NSNull{}) : std::move(value));
  }
  return values;
}

Value valueUnder(std::string_view key, const Value& value, unsigned level) {
  switch (value.kind()) {
    case ValueKind::object: return value.object()->valueForKey(key);
    case ValueKind::dictionary: return value.dictionary()[key];
    case ValueKind::array: return valuesOfElements(key, value.array(), level);
    case ValueKind::set: return valuesOfElements(key, value.set(), level);
    default: return {};
  }
}

}  // namespace

Value valueForKey(const Value& value, std::string_view key) { return valueUnder(key, value, 0); }

Value valueForKeyPath(const Value& value, std::string_view keyPath) {
  Value current = value;
  for (;;) {
    const auto dot = keyPath.find('.');
    current = valueForKey(current, keyPath.substr(0, dot));
    if (dot == std::string_view::npos) return current;
    keyPath.remove_prefix(dot + 1);
  }
}

NSException undefinedKeyException(const NSObject& object, std::string_view key) {
  return {NSUndefinedKeyException,
          object.shortDescription() + " has no property for the key \"" + std::string(key) + '"'};
}

}  // namespace QVFoundation
