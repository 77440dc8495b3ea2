#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "QVFoundation/platform/text/Base64_p.h"
#include "QVFoundation/platform/text/PropertyListDate_p.h"
#include "QVFoundation/platform/text/PropertyListForms_p.h"
#include "QVFoundation/platform/text/SyntaxError_p.h"
#include "QVFoundation/platform/text/ValueBuilder.h"
#include "QVFoundation/platform/text/XMLScanner_p.h"

namespace QVFoundation::detail {

namespace {

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t\r\n";
  text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
  text.remove_suffix(text.size() - (text.find_last_not_of(blanks) + 1));
  return text;
}

template <class Number, class... Form>
std::optional<Number> wholeNumber(std::string_view text, Form... form) {
  Number number{};
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number, form...);
  const bool isWhole = parsed.ec == std::errc() && parsed.ptr == text.data() + text.size();
  return isWhole ? std::optional(number) : std::nullopt;
}

/// Decimal, or hexadecimal after 0x; signed where it can be.
std::optional<NSNumber> integerFromText(std::string_view text) {
  const bool isNegative = text.starts_with('-');
  if (isNegative || text.starts_with('+')) text.remove_prefix(1);
  const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
  const auto magnitude =
      isHexadecimal ? wholeNumber<std::uint64_t>(text.substr(2), 16) : wholeNumber<std::uint64_t>(text);
  if (!magnitude) return {};

  constexpr auto largest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  if (!isNegative)
    return *magnitude <= largest ? NSNumber(static_cast<std::int64_t>(*magnitude)) : NSNumber(*magnitude);
  if (*magnitude > largest + 1) return {};
  return NSNumber(static_cast<std::int64_t>(0 - *magnitude));
}

/// As `std::from_chars` reads it, which knows "inf", "infinity" and "nan" in any case.
std::optional<NSNumber> realFromText(std::string_view text) {
  if (text.starts_with("+-")) return {};
  if (text.starts_with('+')) text.remove_prefix(1);
  const auto number = wholeNumber<double>(text);
  return number ? std::optional(NSNumber(*number)) : std::nullopt;
}

class Reader {
public:
  explicit Reader(std::string_view text) : scanner_(text) {}

  Value read() {
    XMLScanner::Tag tag = scanner_.nextTag();
    const bool isWrapped = tag.name == "plist";
    if (isWrapped) {
      if (tag.kind != XMLScanner::Tag::Kind::opening) scanner_.fail(tag.offset, "there is no value");
      tag = scanner_.nextTag();
    }
    readValue(tag);
    while (!open_.empty()) readNext();
    if (isWrapped) expectClosing(scanner_.nextTag(), "plist");
    if (!scanner_.isAtEnd()) scanner_.fail(scanner_.offset(), "something follows the value");
    return builder_.takeValue();
  }

private:
  using Tag = XMLScanner::Tag;

  /// Reads the next element of the innermost container, with its key in a dictionary, or its end.
  void readNext() {
    Tag tag = scanner_.nextTag();
    if (tag.closes()) return endContainer(tag);
    if (open_.back() == "dict") {
      if (tag.name != "key") scanner_.fail(tag.offset, "expected <key> in a dictionary");
      builder_.key(readText(tag));
      const Tag valueTag = scanner_.nextTag();
      if (valueTag.closes()) scanner_.fail(tag.offset, "a key has no value");
      tag = valueTag;
    }
    readValue(tag);
  }

  void readValue(const Tag& tag) {
    if (tag.closes()) scanner_.fail(tag.offset, "expected a value");
    if (tag.name == "dict" || tag.name == "array") {
      beginContainer(tag);
    } else if (tag.name == "string") {
      builder_.text(readText(tag));
    } else if (tag.name == "true" || tag.name == "false") {
      if (!trimmed(readText(tag)).empty()) scanner_.fail(tag.offset, "a boolean has content");
      builder_.boolean(tag.name == "true");
    } else if (tag.name == "integer") {
      readConverted(tag, integerFromText, "this is no integer of 64 bits");
    } else if (tag.name == "real") {
      readConverted(tag, realFromText, "this is no real number");
    } else if (tag.name == "date") {
      readConverted(tag, dateFromText, "this is no date such as 2026-01-31T23:59:59Z");
    } else if (tag.name == "data") {
      readConverted(tag, dataFromBase64, "this is no base64");
    } else {
      scanner_.fail(tag.offset, "an unknown element <" + std::string(tag.name) + ">");
    }
  }

  template <class Convert>
  void readConverted(const Tag& tag, Convert convert, std::string_view problem) {
    auto content = convert(trimmed(readText(tag)));
    if (!content) scanner_.fail(tag.offset, problem);
    builder_.add(*std::move(content));
  }

  std::string readText(const Tag& tag) {
    if (tag.kind == Tag::Kind::empty) return {};
    std::string text = scanner_.textContent();
    expectClosing(scanner_.nextTag(), tag.name);
    return text;
  }

  void expectClosing(const Tag& tag, std::string_view name) const {
    if (!tag.closes() || tag.name != name) scanner_.fail(tag.offset, "expected </" + std::string(name) + ">");
  }

  void beginContainer(const Tag& tag) {
    if (open_.size() == deepestPropertyListLevel) {
      scanner_.fail(tag.offset,
                    "values are nested deeper than " + std::to_string(deepestPropertyListLevel) + " levels");
    }
    tag.name == "dict" ? builder_.beginDictionary() : builder_.beginArray();
    open_.push_back(tag.name);
    if (tag.kind == Tag::Kind::empty) endContainer({Tag::Kind::closing, tag.name, tag.offset});
  }

  void endContainer(const Tag& tag) {
    expectClosing(tag, open_.back());
    open_.back() == "dict" ? builder_.endDictionary() : builder_.endArray();
    open_.pop_back();
  }

  XMLScanner scanner_;
  ValueBuilder builder_;
  std::vector<std::string_view> open_;  // the names of the containers that are open
};

static_assert(deepestPropertyListLevel <= ValueBuilder::deepestLevel);

}  // namespace

Value readXMLPropertyList(std::string_view text) {
  if (const std::size_t end = validUTF8Length(text); end < text.size()) {
    throw syntaxError("property list", text, end, "the text is not valid UTF-8");
  }
  return Reader(text).read();
}

}  // namespace QVFoundation::detail
