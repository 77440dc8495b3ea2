#include "QVFoundation/platform/serialization/JSON.h"

#include <cmath>

#include "QVFoundation/platform/serialization/ValueBuilder.h"
#include "QVFoundation/platform/serialization/ValueWalk_p.h"

namespace QVFoundation {

namespace {

bool isNoJSONNumber(const Value& value) {
  return value.number() != nullptr && value.number()->isFloatingPoint() &&
         !std::isfinite(value.number()->doubleValue());
}

}  // namespace

void visit(const Value& value, StructureSink& sink) {
  detail::ValueWalk walk(value);
  while (const auto event = walk.next()) detail::sendEvent(walk, *event, sink);
}

Value valueFromJSON(std::string_view text) {
  ValueBuilder builder;
  parseJSON(text, builder);
  return builder.takeValue();
}

// Does what `visit` does, and names the place of a number that the writer would refuse without knowing it.
std::string jsonFromValue(const Value& value, JSONStyle style) {
  std::string json;
  JSONWriter writer(json, style);
  detail::ValueWalk walk(value);
  while (const auto event = walk.next()) {
    if (event == detail::ValueWalk::Event::leaf && isNoJSONNumber(walk.value())) {
      throw walk.error("JSON has no form for the number " + walk.value().description());
    }
    detail::sendEvent(walk, *event, writer);
  }
  return json;
}

}  // namespace QVFoundation
