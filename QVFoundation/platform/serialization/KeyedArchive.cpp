#include "QVFoundation/platform/serialization/KeyedArchive_p.h"
#include "QVFoundation/platform/text/Unicode.h"

namespace QVFoundation::detail {

NSError CodingPlace::error(std::int64_t code, std::string_view what, std::string_view problem) const {
  constexpr std::size_t longestStep = 60;
  std::string path;
  for (const Part& part : steps_) {
    if (part.isKey) {
      if (!path.empty()) path += '.';
      path += prefixOfCodePoints(part.key, longestStep);
    } else {
      path += '[' + std::to_string(part.index) + ']';
    }
  }
  std::string text = path.empty() ? std::string("The value") : "The value at \"" + path + '"';
  text.append(" cannot be ").append(what).append(": ").append(problem);
  return {NSCocoaErrorDomain, code, {{NSLocalizedDescriptionKey, text}}};
}

}  // namespace QVFoundation::detail
