#include "QVFoundation/platform/serialization/ValueBuilder.h"

#include <utility>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/serialization/SyntaxError_p.h"

namespace QVFoundation {

void ValueBuilder::open(std::variant<Dictionary, std::vector<Value>> content) {
  if (levels_.size() == deepestLevel) {
    throw detail::corruptError("Values are nested deeper than " + std::to_string(deepestLevel) + " levels");
  }
  levels_.push_back({std::move(content), {}});
}

void ValueBuilder::key(std::string_view key) { levels_.back().key = key; }

void ValueBuilder::endDictionary() {
  const Value dictionary = std::get<Dictionary>(levels_.back().content);
  levels_.pop_back();
  add(dictionary);
}

void ValueBuilder::endArray() {
  const Value array = Array(std::move(std::get<std::vector<Value>>(levels_.back().content)));
  levels_.pop_back();
  add(array);
}

void ValueBuilder::add(Value value) {
  if (levels_.empty()) {
    value_ = std::move(value);
  } else if (auto* elements = std::get_if<std::vector<Value>>(&levels_.back().content)) {
    elements->push_back(std::move(value));
  } else {
    Level& level = levels_.back();
    std::get<Dictionary>(level.content).set(std::move(level.key), std::move(value));
  }
}

Value ValueBuilder::takeValue() {
  levels_.clear();
  return std::exchange(value_, {});
}

}  // namespace QVFoundation
