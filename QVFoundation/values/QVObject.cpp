#include "QVFoundation/values/QVObject.h"

#include <string_view>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/Set.h"
#include "QVFoundation/platform/text/JSON.h"

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

Value asJSONValue(const Value& value);

template <class Container>
Array asJSONArray(const Container& elements) {
  Array array;
  for (const Value& element : elements) array.append(asJSONValue(element));
  return array;
}

Dictionary asJSONDictionary(const Dictionary& entries) {
  Dictionary dictionary;
  for (const auto& [key, value] : entries) dictionary.set(key.description(), asJSONValue(value));
  return dictionary;
}

Value asJSONValue(const Value& value) {
  switch (value.kind()) {
    case ValueKind::nothing:
    case ValueKind::null:
      return NSNull{};
    case ValueKind::number:
    case ValueKind::text:
      return value;
    case ValueKind::array:
      return asJSONArray(value.array());
    case ValueKind::set:
      return asJSONArray(value.set());
    case ValueKind::dictionary:
      return asJSONDictionary(value.dictionary());
    default:
      return value.description();
  }
}

}  // namespace

std::string QVObject::description() const {
  return descriptionWithLocale(nullptr, 0);
}

std::string QVObject::descriptionWithLocale(const NSLocale* locale, unsigned indent) const {
  if (indent > deepestFullDescription) return shortDescription();
  return withLineBreaks(Value(debugDictionary()).descriptionWithLocale(locale, indent));
}

std::string jsonDescription(const NSObject& object) {
  return jsonFromValue(asJSONDictionary(object.debugDictionary()), JSONStyle::pretty);
}

}  // namespace QVFoundation
