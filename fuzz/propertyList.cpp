#include "QVFoundation/platform/serialization/PropertyList.h"

#include <cstddef>
#include <cstdint>
#include <span>

#include "fuzz/Require.h"

using namespace QVFoundation;
using fuzzing::require;

namespace {

/// What has been read can be written and read again. XML alone may refuse text with control characters.
void checkRoundTrips(const Value& value) {
  require(propertyListFromData(dataFromPropertyList(value, PropertyListFormat::binary)) == value);
  try {
    const NSData xml = dataFromPropertyList(value, PropertyListFormat::xml);
    require(dataFromPropertyList(propertyListFromData(xml), PropertyListFormat::xml) == xml);
  } catch (const NSError& error) {
    require(error.code() == NSPropertyListWriteInvalidError);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    checkRoundTrips(propertyListFromData(std::as_bytes(std::span(data, size))));
  } catch (const NSError& error) {
    require(error.code() == NSPropertyListReadCorruptError && !error.localizedDescription().empty());
  }
  return 0;
}
