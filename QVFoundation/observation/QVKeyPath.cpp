#include "QVFoundation/observation/QVKeyPath.h"

#include <span>

#include "QVFoundation/observation/QVKeyPathUtils.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/KeyValueCoding.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/text/Format.h"

namespace QVFoundation {

namespace {

using Components = std::span<const std::string>;

Value walk(Value current, Components components) {
  for (const std::string& component : components) {
    if (current.isNothing()) break;
    current = valueForKey(current, component);
  }
  return current;
}

/// Writes along components as `NSObject::setValueForKeyPath` does along a text.
void write(NSObject& start, Components components, Value value) {
  while (components.size() > 1) {
    const std::string& key = components.back();
    components = components.first(components.size() - 1);
    const Value owner = walk(start.valueForKey(components.front()), components.subspan(1));
    if (owner.isNothing()) return;
    if (const auto object = owner.object()) return object->setValueForKey(value, key);
    if (owner.kind() != ValueKind::dictionary) {
      throw NSException(NSUndefinedKeyException,
                        stringWithFormat("What %@ has under \"%@\" cannot be written by key",
                                         start.shortDescription(), qv_keyPathWithComponents(components)));
    }
    Dictionary changed = owner.dictionary();  // a value: it is written back in its turn
    changed.set(key, std::move(value));
    value = changed;
  }
  start.setValueForKey(value, components.front());
}

}  // namespace

const NSClass& QVKeyPath::staticClass() {
  static const NSClass& cls = *new NSClass(NSClass::define<QVKeyPath>("QVKeyPath", NSObject::staticClass())
                                               .readOnly("keyPathComponents", &QVKeyPath::keyPathComponents));
  return cls;
}

QVKeyPath::QVKeyPath(std::string_view keyPath) : keyPathComponents_(qv_keyPathComponents(keyPath)) {}

std::string QVKeyPath::keyPathString() const { return qv_keyPathWithComponents(keyPathComponents_); }

std::optional<std::string> QVKeyPath::lastPathComponent() const {
  return keyPathComponents_.empty() ? std::nullopt : std::optional(keyPathComponents_.back());
}

std::shared_ptr<QVKeyPath> QVKeyPath::keyPathByDeletingLastPathComponent() const {
  if (keyPathComponents_.size() < 2) return std::make_shared<QVKeyPath>();
  return std::make_shared<QVKeyPath>(std::vector(keyPathComponents_.begin(), keyPathComponents_.end() - 1));
}

bool QVKeyPath::isEqual(const NSObject& other) const {
  const auto* path = dynamic_cast<const QVKeyPath*>(&other);
  return path != nullptr && path->keyPathComponents_ == keyPathComponents_;
}

std::size_t QVKeyPath::hash() const { return Value(keyPathComponents_).hash(); }

Dictionary QVKeyPath::debugDictionary() const {
  Dictionary entries = QVObject::debugDictionary();
  for (const NSProperty* property : dynamicClass().properties())
    entries.set(property->name, property->get(*this));
  return entries;
}

Value qv_valueForKeyPath(const Value& start, const QVKeyPath& keyPath) {
  return walk(start, keyPath.keyPathComponents());
}

void qv_setValue(NSObject& start, const Value& value, const QVKeyPath& keyPath) {
  auto components = keyPath.keyPathComponents();
  if (components.size() < 2) {
    throw NSException(NSInvalidArgumentException,
                      stringWithFormat("The key path \"%@\" has no parent, so it names no key of %@ to write",
                                       keyPath.keyPathString(), start.shortDescription()));
  }
  components.back() = components[components.size() - 2];  // the key is the parent's last component
  write(start, components, value);
}

void qv_addValue(Dictionary& dictionary, const Value& value, const QVKeyPath& keyPath) {
  if (value.isNothing()) return;
  Components components = keyPath.keyPathComponents();
  if (components.empty()) throw NSException(NSInvalidArgumentException, "An empty key path names no key");
  std::vector<Dictionary> levels{dictionary};
  for (const std::string& component : components.first(components.size() - 1)) {
    const Value& next = levels.back()[component];
    if (!next.isNothing() && next.kind() != ValueKind::dictionary) {
      throw NSException(NSInvalidArgumentException,
                        stringWithFormat(R"("%@" of the key path "%@" holds no dictionary but %@)", component,
                                         keyPath.keyPathString(), next));
    }
    levels.push_back(next.dictionary());
  }
  Value stored = value;
  for (std::size_t level = levels.size(); level-- > 0;) {
    levels[level].set(components[level], std::move(stored));
    stored = levels[level];
  }
  dictionary = levels.front();
}

}  // namespace QVFoundation
