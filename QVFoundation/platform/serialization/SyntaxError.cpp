#include <algorithm>
#include <string>

#include "QVFoundation/platform/serialization/SyntaxError_p.h"
#include "QVFoundation/platform/text/Unicode.h"

namespace QVFoundation::detail {

TextPosition positionInText(std::string_view text, std::size_t offset) noexcept {
  text = text.substr(0, std::min(offset, text.size()));
  TextPosition position;
  std::size_t lineStart = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const bool endsLine = text[at] == '\n' || (text[at] == '\r' && !text.substr(at + 1).starts_with('\n'));
    if (!endsLine) continue;
    ++position.line;
    lineStart = at + 1;
  }
  position.column += codePointCount(text.substr(lineStart));
  return position;
}

NSError syntaxError(std::string_view language, std::string_view text, std::size_t offset,
                    std::string_view problem) {
  const TextPosition position = positionInText(text, offset);
  std::string description = "Invalid ";
  description += language;
  description +=
      " at line " + std::to_string(position.line) + ", column " + std::to_string(position.column) + ": ";
  description += problem;
  return corruptError(description);
}

NSError corruptError(std::string_view description) {
  return {std::string(NSCocoaErrorDomain),
          NSPropertyListReadCorruptError,
          {{NSLocalizedDescriptionKey, description}}};
}

std::size_t validUTF8Length(std::string_view text) noexcept {
  if (isValidUTF8(text)) return text.size();
  std::size_t at = 0;
  for (DecodedCodePoint next = decodeUTF8(text); next.isValid; next = decodeUTF8(text.substr(at)))
    at += next.length;
  return at;
}

}  // namespace QVFoundation::detail
