#include "QVFoundation/platform/files/FileContents_p.h"
#include "QVFoundation/platform/runtime/NSErrorKeys.h"
#include "QVFoundation/platform/serialization/DictionaryFromFile_p.h"
#include "QVFoundation/platform/serialization/SyntaxError_p.h"

namespace QVFoundation::detail {

namespace {

NSError corruptFileError(const std::filesystem::path& path, const NSError& cause) {
  return {cause.domain(),
          cause.code(),
          {{NSLocalizedDescriptionKey,
            "The file \"" + path.string() + "\" could not be read: " + cause.localizedDescription()},
           {NSFilePathErrorKey, path.string()},
           {NSUnderlyingErrorKey, cause}}};
}

}  // namespace

std::optional<Dictionary> dictionaryFromFile(const std::filesystem::path& path,
                                             const std::function<Value(std::span<const std::byte>)>& parse,
                                             std::optional<NSError>* error) {
  NSData bytes;
  try {
    bytes = contentsOfFile(path);
  } catch (const NSError& problem) {
    if (error != nullptr) *error = problem;
    return {};
  }
  try {
    if (auto dictionary = parse(bytes).as<Dictionary>()) return dictionary;
    throw corruptError("it holds no dictionary");
  } catch (const NSError& problem) {
    if (error != nullptr) *error = corruptFileError(path, problem);
    return {};
  }
}

}  // namespace QVFoundation::detail
