#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "QVFoundation/platform/serialization/NSKeyedArchiver.h"
#include "QVFoundation/platform/serialization/NSKeyedUnarchiver.h"
#include "QVFoundation/platform/serialization/PropertyList.h"
#include "QVFoundation/values/QVVersionNumber.h"
#include "fuzz/Require.h"
#include "fuzz/Shelf.h"

using namespace QVFoundation;
using fuzzing::require;

namespace {

Value read(std::span<const std::byte> archive) {
  const std::array<const NSClass*, 2> classes{&fuzzing::Shelf::staticClass(),
                                              &QVVersionNumber::staticClass()};
  std::optional<NSError> error;
  Value root = NSKeyedUnarchiver::unarchivedObjectOfClasses(classes, archive, &error);
  if (root.isNothing()) {
    require(error && !error->localizedDescription().empty());
    require(error->code() == NSCoderReadCorruptError || error->code() == NSPropertyListReadCorruptError);
  } else {
    require(!error);
  }
  return root;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Value root = read(std::as_bytes(std::span(data, size)));
  if (root.isNothing()) return 0;
  // What has been read can be archived, and is the same from then on.
  const auto archive = NSKeyedArchiver::archivedDataWithRootObject(root);
  require(archive.has_value());
  const Value again = read(*archive);
  require(NSKeyedArchiver::archivedDataWithRootObject(again) == archive);
  return 0;
}
