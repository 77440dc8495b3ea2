#include "QVFoundation/platform/serialization/PropertyList.h"

#include <string>

#include "QVFoundation/platform/serialization/DictionaryFromFile_p.h"
#include "QVFoundation/platform/serialization/PropertyListForms_p.h"
#include "QVFoundation/platform/serialization/TextDecoding_p.h"

namespace QVFoundation {

Value propertyListFromData(std::span<const std::byte> data, PropertyListFormat* format) {
  const bool isBinary = detail::isBinaryPropertyList(data);
  if (format != nullptr) *format = isBinary ? PropertyListFormat::binary : PropertyListFormat::xml;
  if (isBinary) return detail::readBinaryPropertyList(data);
  std::string storage;
  return detail::readXMLPropertyList(detail::decodedText(data, storage));
}

NSData dataFromPropertyList(const Value& value, PropertyListFormat format) {
  return format == PropertyListFormat::binary ? detail::writeBinaryPropertyList(value)
                                              : detail::writeXMLPropertyList(value);
}

std::optional<Dictionary> dictionaryFromPropertyListFile(const std::filesystem::path& path,
                                                         std::optional<NSError>* error) {
  return detail::dictionaryFromFile(path, [](auto bytes) { return propertyListFromData(bytes); }, error);
}

}  // namespace QVFoundation
