#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "QVFoundation/observation/QVKeyPath.h"
#include "QVFoundation/observation/QVKeyPathUtils.h"
#include "QVFoundation/platform/runtime/KeyValueCoding.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/serialization/JSON.h"
#include "fuzz/Input.h"
#include "fuzz/Require.h"
#include "fuzz/Shelf.h"

// A key path on the first line, and JSON that is read and written along it.

using namespace QVFoundation;
using fuzzing::require;
using fuzzing::Shelf;

namespace {

/// What an action gives; nothing where it raises what it may.
template <class Action>
auto expecting(const Action& action) -> std::optional<decltype(action())> {
  try {
    return action();
  } catch (const NSException& exception) {
    require(exception.name() == NSUndefinedKeyException || exception.name() == NSInvalidArgumentException);
    return {};
  }
}

void checkText(std::string_view text) {
  const QVKeyPath path(text);
  require(path.keyPathString() == text);
  const auto parent = path.keyPathByDeletingLastPathComponent();
  if (path.keyPathComponents().size() > 1) {
    require(qv_keyPathByAddingComponent(parent->keyPathString(), *path.lastPathComponent()) == text ||
            parent->keyPathString().empty());
    require(qv_keyPathByDeletingLastComponent(text) == parent->keyPathString());
    require(qv_firstKeyPathComponent(text) + '.' + *qv_keyPathByDeletingFirstComponent(text) == text);
  }
  require(QVKeyPath(path.keyPathComponents()).isEqual(path));
  require(QVKeyPath(path.keyPathComponents()).hash() == path.hash());
}

/// Along the text and along the components is the same.
void checkReading(const Value& start, std::string_view text) {
  const auto along = expecting([&] { return qv_valueForKeyPath(start, QVKeyPath(text)); });
  const auto read = expecting([&] { return valueForKeyPath(start, text); });
  if (!text.empty()) require(read == along);
}

void checkAdding(const Value& start, const Value& added, std::string_view text) {
  Dictionary dictionary = start.dictionary();
  const Dictionary before = dictionary;
  const bool isAdded =
      expecting([&] { return qv_addValue(dictionary, added, QVKeyPath(text)), 0; }).has_value();
  if (!isAdded || added.isNothing()) {
    require(dictionary == before);
  } else {
    require(qv_valueForKeyPath(Value(dictionary), QVKeyPath(text)) == added);
  }
}

std::shared_ptr<Shelf> newShelf() {
  auto shelf = std::make_shared<Shelf>();
  shelf->setNext(std::make_shared<Shelf>());
  shelf->setInfo({{"deep", Dictionary{{"er", 1}}}});
  return shelf;
}

void checkWriting(const Value& value, std::string_view text) {
  const auto shelf = newShelf();
  if (expecting([&] { return shelf->setValueForKeyPath(value, text), 0; })) {
    (void)expecting([&] { return shelf->valueForKeyPath(text); });
  }
  if (text.empty()) return;
  // Along components, what is written is the last one but one, of the object that it leads to itself.
  const auto other = newShelf(), written = newShelf();
  const QVKeyPath path(std::string(text) + ".any");
  const std::string same = qv_keyPathByAddingComponent(text, qv_lastKeyPathComponent(text));
  const auto a = expecting([&] { return qv_setValue(*other, value, path), 0; });
  const auto b = expecting([&] { return written->setValueForKeyPath(value, same), 0; });
  require(a.has_value() == b.has_value());
  require(other->label() == written->label() && other->width() == written->width());
  require(other->things() == written->things() && other->info() == written->info());
  require((other->next() == nullptr) == (written->next() == nullptr));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzzing::Input input(data, size);
  const std::string_view text = input.line();
  checkText(text);
  Value value;
  try {
    value = valueFromJSON(input.rest());
  } catch (const NSError&) {
    value = Value(std::string(input.rest()));
  }
  checkReading(value, text);
  checkReading(Value(newShelf()), text);
  checkAdding(value, Value("added"), text);
  checkAdding(Value(Dictionary()), value, text);
  checkWriting(value, text);
  return 0;
}
