#include "QVFoundation/platform/runtime/KeyPathReader.h"

#include "QVFoundation/platform/runtime/KeyReader_p.h"
#include "QVFoundation/platform/runtime/KeyValueCoding.h"

namespace QVFoundation {

namespace detail {

void KeyReader::meet(const NSObject& object) {
  const NSClass& cls = object.dynamicClass();
  property_ = cls.isReadThroughProperties(typeid(object)) ? cls.property(key_) : nullptr;
  type_ = &typeid(object);
}

Value KeyReader::read(const Value& value) {
  const auto object = value.object();
  return object ? read(*object) : valueForKey(value, key_);
}

std::vector<KeyReader> keyReaders(std::string_view keyPath) {
  std::vector<KeyReader> keys;
  for (;;) {
    const auto dot = keyPath.find('.');
    keys.emplace_back(keyPath.substr(0, dot));
    if (dot == std::string_view::npos) return keys;
    keyPath.remove_prefix(dot + 1);
  }
}

}  // namespace detail

KeyPathReader::KeyPathReader(std::string_view keyPath) : keys_(detail::keyReaders(keyPath)) {}

KeyPathReader::KeyPathReader(const KeyPathReader&) = default;
KeyPathReader::KeyPathReader(KeyPathReader&&) noexcept = default;
KeyPathReader& KeyPathReader::operator=(const KeyPathReader&) = default;
KeyPathReader& KeyPathReader::operator=(KeyPathReader&&) noexcept = default;
KeyPathReader::~KeyPathReader() = default;

Value KeyPathReader::operator()(const NSObject& object) {
  Value value = keys_.front().read(object);
  for (std::size_t i = 1; i < keys_.size(); ++i) value = keys_[i].read(value);
  return value;
}

Value KeyPathReader::operator()(const Value& value) {
  Value current = keys_.front().read(value);
  for (std::size_t i = 1; i < keys_.size(); ++i) current = keys_[i].read(current);
  return current;
}

}  // namespace QVFoundation
