#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <exception>
#include <expat.h>
#include <iterator>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "QVFoundation/platform/serialization/Base64_p.h"
#include "QVFoundation/platform/serialization/PropertyListDate_p.h"
#include "QVFoundation/platform/serialization/PropertyListForms_p.h"
#include "QVFoundation/platform/serialization/SyntaxError_p.h"
#include "QVFoundation/platform/serialization/ValueBuilder.h"

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

enum class Kind : std::uint8_t { plist, dict, array, key, string, yes, no, integer, real, date, data };

struct Name {
  std::string_view name;
  Kind kind;
};
constexpr Name names[] = {
    {"plist", Kind::plist},   {"dict", Kind::dict}, {"array", Kind::array}, {"key", Kind::key},
    {"string", Kind::string}, {"true", Kind::yes},  {"false", Kind::no},    {"integer", Kind::integer},
    {"real", Kind::real},     {"date", Kind::date}, {"data", Kind::data},
};

/// Builds a value from the elements that the XML parser finds. The parser sees to it that tags match, and
/// that entities which refer to each other do not grow out of proportion.
class XMLReader {
public:
  explicit XMLReader(std::string_view text) : text_(text) {
    if (!parser_) throw std::bad_alloc();
    XML_SetUserData(parser_.get(), this);
    XML_SetElementHandler(
        parser_.get(),
        [](void* self, const char* name, const char** /*attributes*/) {
          handle(self, &XMLReader::begin, name);
        },
        [](void* self, const char* /*name*/) { handle(self, &XMLReader::end); });
    XML_SetCharacterDataHandler(parser_.get(), [](void* self, const char* piece, int size) {
      handle(self, &XMLReader::addText, std::string_view(piece, static_cast<std::size_t>(size)));
    });
    // Beside a document type of its own the parser would pass over what it cannot replace.
    XML_SetSkippedEntityHandler(parser_.get(), [](void* self, const char* name, int /*isParameter*/) {
      handle(self, &XMLReader::failEntity, name);
    });
  }

  Value read() {
    constexpr std::size_t mostAtOnce = std::size_t{1} << 30;  // the parser counts in int
    for (std::string_view rest = text_;;) {
      const std::string_view piece = rest.substr(0, mostAtOnce);
      rest.remove_prefix(piece.size());
      const auto status =
          XML_Parse(parser_.get(), piece.data(), static_cast<int>(piece.size()), rest.empty() ? 1 : 0);
      if (failure_) std::rethrow_exception(failure_);
      if (status != XML_STATUS_OK) fail(offset(), XML_ErrorString(XML_GetErrorCode(parser_.get())));
      if (rest.empty()) return builder_.takeValue();
    }
  }

private:
  struct Element {
    Kind kind;
    std::size_t offset;
    bool hasValue = false;                // of <plist>
    std::optional<std::size_t> key = {};  // where the key stands, in a dictionary, whose value is to come
  };

  /// Calls a member and keeps what it throws, which must not pass through the parser.
  template <class... Args>
  static void handle(void* self, void (XMLReader::*member)(Args...), Args... args) noexcept {
    auto& reader = *static_cast<XMLReader*>(self);
    if (reader.failure_) return;  // the parser still sends what it had in hand
    try {
      (reader.*member)(args...);
    } catch (...) {
      reader.failure_ = std::current_exception();
      XML_StopParser(reader.parser_.get(), XML_FALSE);
    }
  }

  [[nodiscard]] std::size_t offset() const {
    return static_cast<std::size_t>(XML_GetCurrentByteIndex(parser_.get()));
  }
  [[noreturn]] void fail(std::size_t offset, std::string_view problem) const {
    throw syntaxError("property list", text_, offset, problem);
  }
  void failEntity(const char* name) { fail(offset(), "an unknown reference &" + std::string(name) + ";"); }

  static bool isContainer(Kind kind) { return kind == Kind::dict || kind == Kind::array; }

  void begin(const char* name) {
    const auto* known = std::ranges::find(names, std::string_view(name), &Name::name);
    if (known == std::end(names)) fail(offset(), "an unknown element <" + std::string(name) + ">");
    const Element element{known->kind, offset()};
    if (open_.empty() && element.kind != Kind::plist) {
      checkValue(element);
    } else if (!open_.empty()) {
      checkPlace(open_.back(), element);
    }
    if (isContainer(element.kind)) beginContainer(element);
    content_.clear();
    open_.push_back(element);
  }

  /// Whether an element may stand where it stands.
  void checkPlace(Element& parent, const Element& element) {
    switch (parent.kind) {
      case Kind::plist:
        if (std::exchange(parent.hasValue, true)) fail(element.offset, "a second value");
        return checkValue(element);
      case Kind::array: return checkValue(element);
      case Kind::dict:
        if (parent.key && element.kind == Kind::key) fail(*parent.key, "a key has no value");
        if (!parent.key && element.kind != Kind::key) fail(element.offset, "expected <key> in a dictionary");
        if (element.kind != Kind::key) checkValue(element);
        parent.key = parent.key ? std::nullopt : std::optional(element.offset);
        return;
      default: fail(element.offset, "an element inside of a text");
    }
  }

  void checkValue(const Element& element) const {
    if (element.kind == Kind::key || element.kind == Kind::plist) fail(element.offset, "expected a value");
  }

  void beginContainer(const Element& element) {
    if (depth_++ == deepestPropertyListLevel) {
      fail(element.offset,
           "values are nested deeper than " + std::to_string(deepestPropertyListLevel) + " levels");
    }
    element.kind == Kind::dict ? builder_.beginDictionary() : builder_.beginArray();
  }

  void addText(std::string_view text) {
    const Kind kind = open_.back().kind;
    if (!isContainer(kind) && kind != Kind::plist) {
      content_ += text;
    } else if (!trimmed(text).empty()) {
      fail(offset(), "a text outside of a value");
    }
  }

  void end() {
    const Element element = open_.back();
    open_.pop_back();
    switch (element.kind) {
      case Kind::plist:
        if (!element.hasValue) fail(element.offset, "there is no value");
        return;
      case Kind::dict:
        if (element.key) fail(*element.key, "a key has no value");
        --depth_;
        return builder_.endDictionary();
      case Kind::array: --depth_; return builder_.endArray();
      case Kind::key: return builder_.key(content_);
      case Kind::string: return builder_.text(content_);
      case Kind::yes:
      case Kind::no:
        if (!trimmed(content_).empty()) fail(element.offset, "a boolean has content");
        return builder_.boolean(element.kind == Kind::yes);
      case Kind::integer: return addConverted(element, integerFromText, "this is no integer of 64 bits");
      case Kind::real: return addConverted(element, realFromText, "this is no real number");
      case Kind::date:
        return addConverted(element, dateFromText, "this is no date such as 2026-01-31T23:59:59Z");
      case Kind::data: return addConverted(element, dataFromBase64, "this is no base64");
    }
  }

  template <class Convert>
  void addConverted(const Element& element, Convert convert, std::string_view problem) {
    auto value = convert(trimmed(content_));
    if (!value) fail(element.offset, problem);
    builder_.add(*std::move(value));
  }

  struct FreeParser {
    void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
  };

  const std::string_view text_;
  const std::unique_ptr<std::remove_pointer_t<XML_Parser>, FreeParser> parser_{XML_ParserCreate("UTF-8")};
  ValueBuilder builder_;
  std::vector<Element> open_;
  std::size_t depth_ = 0;  // of containers
  std::string content_;    // of the innermost element, which is a text
  std::exception_ptr failure_;
};

static_assert(deepestPropertyListLevel <= ValueBuilder::deepestLevel);

}  // namespace

Value readXMLPropertyList(std::string_view text) {
  if (const std::size_t end = validUTF8Length(text); end < text.size()) {
    throw syntaxError("property list", text, end, "the text is not valid UTF-8");
  }
  return XMLReader(text).read();
}

}  // namespace QVFoundation::detail
