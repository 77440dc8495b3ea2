#include "QVFoundation/files/QVDictionaryFiles.h"

#include "QVFoundation/errors/QVErrorConstructors.h"
#include "QVFoundation/platform/application/LocalizedText_p.h"
#include "QVFoundation/platform/files/FileErrors_p.h"
#include "QVFoundation/platform/serialization/PropertyList.h"

namespace QVFoundation {

std::optional<Dictionary> qv_dictionaryWithContentsOfFile(PathView path, NSDataReadingOptions readOptions,
                                                          std::optional<NSError>* error) {
  const auto data = dataWithContentsOfFile(path, readOptions, error);
  if (!data) return {};
  try {
    if (auto dictionary = propertyListFromData(*data).as<Dictionary>()) return dictionary;
    throw errorWithDescription(
        detail::localizedText("The contents of the file at %@ are not an NSDictionary", path.text()));
  } catch (const NSError& problem) {
    if (error != nullptr) *error = problem;
    return {};
  }
}

std::optional<Dictionary> qv_dictionaryWithContentsOfURL(const NSURL& url, NSDataReadingOptions readOptions,
                                                         std::optional<NSError>* error) {
  if (url.isFileURL()) return qv_dictionaryWithContentsOfFile(url, readOptions, error);
  if (error != nullptr) *error = detail::unsupportedSchemeError(url.absoluteString());
  return {};
}

bool qv_writeToFile(const Dictionary& dictionary, PathView path, NSDataWritingOptions atomically,
                    std::optional<NSError>* error) {
  NSData data;
  try {
    data = dataFromPropertyList(dictionary, PropertyListFormat::xml);
  } catch (const NSError& problem) {
    if (error != nullptr) *error = problem;
    return false;
  }
  return writeDataToFile(data, path, atomically, error);
}

}  // namespace QVFoundation
