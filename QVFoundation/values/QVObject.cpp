#include "QVFoundation/values/QVObject.h"

#include <cmath>
#include <string_view>
#include <utility>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/Set.h"
#include "QVFoundation/platform/serialization/JSON.h"
#include "QVFoundation/values/ObjectDescription_p.h"

namespace QVFoundation {

namespace {

constexpr unsigned deepestFullDescription = 2;

/// Texts with several lines stand in dictionaries with their line breaks escaped; here they are to be read.
std::string withLineBreaks(std::string_view text) {
  std::string lines;
  lines.reserve(text.size());
  for (auto escape = text.find("\\n"); escape != std::string_view::npos; escape = text.find("\\n")) {
    lines.append(text.substr(0, escape)) += '\n';
    text.remove_prefix(escape + 2);
  }
  return lines.append(text);
}

/// An object whose description is being made on this thread, for as long as this exists.
class ObjectBeingDescribed {
public:
  explicit ObjectBeingDescribed(const NSObject& object) noexcept
      : object_(object), outer_(std::exchange(innermost, this)) {}
  ObjectBeingDescribed(const ObjectBeingDescribed&) = delete;
  ObjectBeingDescribed& operator=(const ObjectBeingDescribed&) = delete;
  ~ObjectBeingDescribed() { innermost = outer_; }

  /// Whether an object has come up within its own description on a way on which the indentation began anew,
  /// and so would not end it.
  [[nodiscard]] static bool comesUpAgain(const NSObject& object, unsigned indent) noexcept {
    unsigned depth = 0;
    bool isAmongThem = false;
    for (const auto* described = innermost; described != nullptr; described = described->outer_) {
      ++depth;
      isAmongThem = isAmongThem || &described->object_ == &object;
    }
    return isAmongThem && depth > indent;
  }

private:
  static constinit thread_local const ObjectBeingDescribed* innermost;

  const NSObject& object_;
  const ObjectBeingDescribed* const outer_;
};

constinit thread_local const ObjectBeingDescribed* ObjectBeingDescribed::innermost = nullptr;

// What is nested deeper is cut to an ellipsis, as in descriptions: no input may exhaust the stack.
constexpr unsigned deepestLevel = 100;

Value asJSONValue(const Value& value, unsigned level);

template <class Container>
Array asJSONArray(const Container& elements, unsigned level) {
  Array array;
  for (const Value& element : elements) array.append(asJSONValue(element, level));
  return array;
}

Dictionary asJSONDictionary(const Dictionary& entries, unsigned level) {
  Dictionary dictionary;
  for (const auto& [key, value] : entries) dictionary.set(key.description(), asJSONValue(value, level));
  return dictionary;
}

Value asJSONNumber(const NSNumber& number) {
  if (number.isFloatingPoint() && !std::isfinite(number.doubleValue())) return number.description();
  return number;
}

Value asJSONValue(const Value& value, unsigned level) {
  if (level > deepestLevel) return "…";
  switch (value.kind()) {
    case ValueKind::nothing:
    case ValueKind::null: return NSNull{};
    case ValueKind::number: return asJSONNumber(*value.number());
    case ValueKind::text: return value;
    case ValueKind::array: return asJSONArray(value.array(), level + 1);
    case ValueKind::set: return asJSONArray(value.set(), level + 1);
    case ValueKind::dictionary: return asJSONDictionary(value.dictionary(), level + 1);
    default: return value.description();
  }
}

}  // namespace

std::string QVObject::description() const { return descriptionWithLocale(nullptr, 0); }

std::string QVObject::descriptionWithLocale(const NSLocale* locale, unsigned indent) const {
  return detail::descriptionFromDebugDictionary(*this, locale, indent);
}

std::string detail::descriptionFromDebugDictionary(const NSObject& object, const NSLocale* locale,
                                                   unsigned indent) {
  if (indent > deepestFullDescription || ObjectBeingDescribed::comesUpAgain(object, indent)) {
    return object.shortDescription();
  }
  const ObjectBeingDescribed described(object);
  return withLineBreaks(Value(object.debugDictionary()).descriptionWithLocale(locale, indent));
}

std::string jsonDescription(const NSObject& object, JSONStyle style) {
  return jsonFromValue(asJSONValue(object.debugDictionary(), 0), style);
}

}  // namespace QVFoundation
