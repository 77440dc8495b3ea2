#include <cstddef>
#include <cstdint>
#include <string_view>

#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/serialization/JSON.h"
#include "QVFoundation/values/QVInfoDictionary.h"
#include "fuzz/Require.h"
#include "fuzz/Shelf.h"

// An info dictionary as JSON.

using namespace QVFoundation;
using fuzzing::require;

namespace {

[[maybe_unused]] const NSClass& shelfClass = fuzzing::Shelf::staticClass();

void check(const Value& info) {
  require(objectFromInfoDictionary(Value()).isNothing());
  const Value object = objectFromInfoDictionary(info);
  if (info.kind() != ValueKind::dictionary) require(object.isNothing());
  const Dictionary written = infoDictionary(object);
  // Writing what has been read from there changes nothing any more.
  if (fuzzing::Shelf* shelf = dynamic_cast<fuzzing::Shelf*>(object.object().get())) {
    const auto again = objectFromInfoDictionary<fuzzing::Shelf>(Value(written));
    require(again && infoDictionary(*again)["class"] == written["class"]);
    require(again->label() == shelf->label() && again->width() == shelf->width());
  }
  fuzzing::Shelf other;
  configureWithInfoDictionary(other, info.dictionary());
  (void)convertToInfoDictionary(info);
  (void)convertToInfoDictionary(object);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Value info;
  try {
    info = valueFromJSON(std::string_view(reinterpret_cast<const char*>(data), size));
  } catch (const NSError&) {
    return 0;
  }
  try {
    check(info);
  } catch (const NSException& exception) {
    require(exception.name() == NSInvalidArgumentException);
  }
  return 0;
}
