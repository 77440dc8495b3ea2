#include "QVFoundation/platform/serialization/StringTable.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string>

#include "QVFoundation/platform/serialization/DictionaryFromFile_p.h"
#include "QVFoundation/platform/serialization/PropertyList.h"
#include "QVFoundation/platform/serialization/PropertyListForms_p.h"
#include "QVFoundation/platform/serialization/SyntaxError_p.h"
#include "QVFoundation/platform/serialization/TextDecoding_p.h"
#include "QVFoundation/platform/text/Unicode.h"

namespace QVFoundation {

namespace {

bool isBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

/// What a text without quotes may consist of.
bool isWordCharacter(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == '.' ||
         c == '-' || c == '$' || c == ':' || c == '/';
}

class Parser {
public:
  explicit Parser(std::string_view text) : text_(text) {
    if (const std::size_t end = detail::validUTF8Length(text); end < text.size())
      fail(end, "the text is not valid UTF-8");
  }

  Dictionary parse() {
    Dictionary table;
    for (skipBlanks(); at_ < text_.size(); skipBlanks()) {
      const std::size_t start = at_;
      const std::string key = parseText("expected a key");
      skipBlanks();
      std::string text = key;
      if (skip('=')) {
        skipBlanks();
        text = parseText("expected a text after =");
        skipBlanks();
      }
      if (!skip(';')) fail(at_, "expected ; after the entry of line " + lineOf(start));
      table.set(key, std::move(text));
    }
    return table;
  }

private:
  [[noreturn]] void fail(std::size_t offset, std::string_view problem) const {
    throw detail::syntaxError("string table", text_, offset, problem);
  }

  [[nodiscard]] std::string lineOf(std::size_t offset) const {
    return std::to_string(detail::positionInText(text_, offset).line);
  }

  [[nodiscard]] bool isAt(std::string_view token) const noexcept {
    return text_.substr(at_).starts_with(token);
  }

  bool skip(char c) {
    if (at_ == text_.size() || text_[at_] != c) return false;
    ++at_;
    return true;
  }

  /// Skips white space and comments.
  void skipBlanks() {
    while (at_ < text_.size()) {
      if (isBlank(text_[at_])) {
        ++at_;
      } else if (isAt("//")) {
        at_ = std::min(text_.find_first_of("\n\r", at_), text_.size());
      } else if (isAt("/*")) {
        const std::size_t end = text_.find("*/", at_ + 2);
        if (end == std::string_view::npos) fail(at_, "a comment does not end");
        at_ = end + 2;
      } else {
        return;
      }
    }
  }

  std::string parseText(std::string_view problem) {
    if (skip('"')) return parseQuoted('"');
    if (skip('\'')) return parseQuoted('\'');
    const auto* const start = text_.begin() + at_;
    const auto length =
        static_cast<std::size_t>(std::find_if_not(start, text_.end(), isWordCharacter) - start);
    if (length == 0) fail(at_, problem);
    at_ += length;
    return {start, length};
  }

  std::string parseQuoted(char quote) {
    const std::size_t opening = at_ - 1;
    const char special[] = {quote, '\\'};
    std::string out;
    while (true) {
      const std::size_t end = text_.find_first_of({special, 2}, at_);
      if (end == std::string_view::npos) fail(opening, "a text has no closing quote");
      out += text_.substr(at_, end - at_);
      at_ = end + 1;
      if (text_[end] == quote) return out;
      parseEscape(out);
    }
  }

  /// Appends what the characters after a backslash stand for.
  void parseEscape(std::string& out) {
    constexpr std::string_view letters = "ntrabfv";
    constexpr std::string_view characters = "\n\t\r\a\b\f\v";
    const char c = at_ < text_.size() ? text_[at_] : '\0';
    if (const std::size_t index = letters.find(c); index != std::string_view::npos) {
      out += characters[index];
      ++at_;
    } else if (c == 'u' || c == 'U') {
      appendUTF8(out, parseUnits());
    } else if (c >= '0' && c <= '7') {
      appendUTF8(out, parseNumber(3, 8));
    } else if (!skipLineEnd()) {
      // Anything else, a quote or a backslash first of all, stands for itself. Its bytes follow as they are.
      if (at_ < text_.size()) out += text_[at_++];
    }
  }

  bool skipLineEnd() {
    if (skip('\n')) return true;
    if (!skip('\r')) return false;
    skip('\n');
    return true;
  }

  char32_t parseUnits() {
    const std::size_t start = at_ - 1;
    const char32_t first = parseUnit(start);
    if (isValidCodePoint(first)) return first;
    if (first <= 0xDBFF && skip('\\') && (isAt("u") || isAt("U"))) {
      const char32_t second = parseUnit(start);
      if (second >= 0xDC00 && second <= 0xDFFF) return 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00);
    }
    fail(start, "half of a surrogate pair");
  }

  char32_t parseUnit(std::size_t start) {
    const std::size_t digits = ++at_;
    const char32_t unit = parseNumber(4, 16);
    if (at_ != digits + 4) fail(start, "\\U needs four hexadecimal digits");
    return unit;
  }

  char32_t parseNumber(std::size_t mostDigits, int base) {
    const std::string_view digits = text_.substr(at_, mostDigits);
    std::uint32_t number = 0;
    at_ += static_cast<std::size_t>(
        std::from_chars(digits.data(), digits.data() + digits.size(), number, base).ptr - digits.data());
    return number;
  }

  std::string_view text_;
  std::size_t at_ = 0;
};

Dictionary tableFromPropertyList(std::span<const std::byte> data) {
  const Value root = propertyListFromData(data);
  const auto table = root.as<Dictionary>();
  if (!table) throw detail::corruptError("Invalid string table: the property list holds no dictionary");
  for (const auto& [key, value] : *table) {
    if (value.text() == nullptr) {
      throw detail::corruptError("Invalid string table: the entry \"" + key.description() + "\" is no text");
    }
  }
  return *table;
}

}  // namespace

Dictionary stringTableFromData(std::span<const std::byte> data) {
  if (detail::isBinaryPropertyList(data)) return tableFromPropertyList(data);
  std::string storage;
  const std::string_view text = detail::decodedText(data, storage);
  const auto start = std::ranges::find_if_not(text, isBlank);
  const bool isXML = start != text.end() && *start == '<';
  return isXML ? tableFromPropertyList(data) : Parser(text).parse();
}

std::optional<Dictionary> stringTableFromFile(const std::filesystem::path& path,
                                              std::optional<NSError>* error) {
  return detail::dictionaryFromFile(path, [](auto bytes) { return stringTableFromData(bytes); }, error);
}

Dictionary localizationInTable(const Dictionary& table, std::string_view localization) {
  return table[localization].dictionary();
}

}  // namespace QVFoundation
