#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/NSNumber.h"
#include "QVFoundation/values/QVHexStringValueTransformer.h"
#include "QVFoundation/values/QVValueTransformers.h"
#include "fuzz/Input.h"
#include "fuzz/Require.h"

// The name of a transformer on the first line, then a text for it.

using namespace QVFoundation;
using fuzzing::require;

namespace {

/// What stands behind a name may be asked for anything.
void checkUse(const NSValueTransformer& transformer, std::string_view text) {
  const Value transformed = transformer.transformedValue(Value(text));
  require(transformer.transformedValue(Value(text)) == transformed);
  for (const Value& value : {Value(), Value(7), Value(NSNull()), Value(Array{text})}) {
    (void)transformer.transformedValue(value);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  [[maybe_unused]] static const NSClass& hexadecimal = QVHexStringValueTransformer::staticClass();
  fuzzing::Input input(data, size);
  const std::string_view name = input.line();
  if (const auto made = qv_valueTransformerWithComponentsString(name)) checkUse(*made, input.rest());

  const bool wasThere = NSValueTransformer::valueTransformerForName(name) != nullptr;
  const auto registered = qv_valueTransformerWithDynamicName(name);
  if (name.find("->") != std::string_view::npos) require(registered != nullptr);
  require(NSValueTransformer::valueTransformerForName(name) == registered);
  require(qv_valueTransformerWithDynamicName(name) == registered);
  if (registered) checkUse(*registered, input.rest());
  if (!wasThere) NSValueTransformer::setValueTransformer(nullptr, std::string(name));
  return 0;
}
