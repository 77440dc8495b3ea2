#include "QVFoundation/platform/text/JSON.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "QVFoundation/platform/text/JSONText_p.h"
#include "QVFoundation/platform/text/SyntaxError_p.h"
#include "QVFoundation/platform/text/Unicode.h"

namespace QVFoundation {

namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// Whether a number that `double` cannot hold is too large for it rather than too small: whether its first
/// digit that counts stands, with the exponent taken into account, before the point. `text` is a valid JSON
/// number.
bool isLarge(std::string_view text) {
  const std::string_view mantissa = text.substr(0, text.find_first_of("eE"));
  const std::size_t point = std::min(mantissa.find('.'), mantissa.size());
  const auto places =
      static_cast<std::int64_t>(point) - static_cast<std::int64_t>(mantissa.find_first_of("123456789"));

  std::string_view exponent = text.substr(std::min(mantissa.size() + 1, text.size()));
  if (exponent.starts_with('+')) exponent.remove_prefix(1);
  std::int64_t power = 0;
  const auto parsed = std::from_chars(exponent.data(), exponent.data() + exponent.size(), power);
  if (parsed.ec == std::errc::result_out_of_range) return !exponent.starts_with('-');
  return power > -places;
}

/// Walks over the text once. The only thing that grows with the depth is one bit for each open container.
class Parser {
public:
  Parser(std::string_view text, StructureSink& sink)
      : text_(text), at_(text.data()), end_(text.data() + text.size()), sink_(sink) {
    if (text.starts_with(byteOrderMark)) at_ += byteOrderMark.size();
  }

  void parse() {
    do {
      while (parseBeginningOfValue()) {
      }
    } while (parseUpToNextValue());
    if (at_ != end_) fail(at_, "something follows the value");
  }

private:
  [[noreturn]] void fail(const char* where, std::string_view problem) const {
    throw detail::syntaxError("JSON", text_, static_cast<std::size_t>(where - text_.data()), problem);
  }

  /// The next character that is no white space, where it is; 0 at the end of the text.
  char peek() {
    while (at_ != end_ && (*at_ == ' ' || *at_ == '\n' || *at_ == '\r' || *at_ == '\t')) ++at_;
    return at_ != end_ ? *at_ : '\0';
  }

  bool skip(char c) {
    if (at_ == end_ || *at_ != c) return false;
    ++at_;
    return true;
  }

  /// Sends a whole scalar or an empty container and answers false; or enters a container and answers true,
  /// which means that another value begins here.
  bool parseBeginningOfValue() {
    switch (peek()) {
      case '{': ++at_; return enterDictionary();
      case '[': ++at_; return enterArray();
      case '"':
        ++at_;
        sink_.text(parseText());
        return false;
      case 't':
        parseWord("true");
        sink_.boolean(true);
        return false;
      case 'f':
        parseWord("false");
        sink_.boolean(false);
        return false;
      case 'n':
        parseWord("null");
        sink_.null();
        return false;
      default: parseNumber(); return false;
    }
  }

  bool enterDictionary() {
    sink_.beginDictionary();
    if (peek() == '}') {
      ++at_;
      sink_.endDictionary();
      return false;
    }
    openDictionaries_.push_back(true);
    parseKey();
    return true;
  }

  bool enterArray() {
    sink_.beginArray();
    if (peek() == ']') {
      ++at_;
      sink_.endArray();
      return false;
    }
    openDictionaries_.push_back(false);
    return true;
  }

  /// Closes what ends here. False where that was everything.
  bool parseUpToNextValue() {
    while (!openDictionaries_.empty()) {
      const bool inDictionary = openDictionaries_.back();
      const char next = peek();
      if (next == ',') {
        ++at_;
        if (inDictionary) parseKey();
        return true;
      }
      if (next != (inDictionary ? '}' : ']')) fail(at_, inDictionary ? "expected , or }" : "expected , or ]");
      ++at_;
      openDictionaries_.pop_back();
      inDictionary ? sink_.endDictionary() : sink_.endArray();
    }
    peek();
    return false;
  }

  void parseKey() {
    if (peek() != '"') fail(at_, "expected a key in quotes");
    ++at_;
    sink_.key(parseText());
    if (peek() != ':') fail(at_, "expected : after a key");
    ++at_;
  }

  void parseWord(std::string_view word) {
    if (!std::string_view(at_, end_).starts_with(word)) fail(at_, "expected a value");
    at_ += word.size();
  }

  /// A text up to its closing quote. It is lent from the source where nothing in it is escaped.
  std::string_view parseText() {
    const char* const opening = at_ - 1;
    const char* start = at_;
    at_ = detail::endOfVerbatimText(at_, end_);
    if (at_ != end_ && *at_ == '"') return {start, at_++};

    unescaped_.assign(start, at_);
    while (!skip('"')) {
      if (at_ == end_) fail(opening, "a text has no closing quote");
      if (*at_ != '\\') failInText();
      parseEscape();
      start = at_;
      at_ = detail::endOfVerbatimText(at_, end_);
      unescaped_.append(start, at_);
    }
    return unescaped_;
  }

  [[noreturn]] void failInText() const {
    const bool isASCII = static_cast<unsigned char>(*at_) < 0x80;
    fail(at_, isASCII ? "a control character in a text must be escaped" : "a text is not valid UTF-8");
  }

  void parseEscape() {
    const char* const start = at_++;
    switch (at_ != end_ ? *at_++ : '\0') {
      case '"':
      case '\\':
      case '/': unescaped_ += at_[-1]; break;
      case 'b': unescaped_ += '\b'; break;
      case 'f': unescaped_ += '\f'; break;
      case 'n': unescaped_ += '\n'; break;
      case 'r': unescaped_ += '\r'; break;
      case 't': unescaped_ += '\t'; break;
      case 'u': appendUTF8(unescaped_, parseEscapedCodePoint(start)); break;
      default: fail(start, "an unknown escape in a text");
    }
  }

  char32_t parseEscapedCodePoint(const char* start) {
    const char32_t first = parseHexDigits(start);
    if (isValidCodePoint(first)) return first;
    if (first <= 0xDBFF && skip('\\') && skip('u')) {
      const char32_t second = parseHexDigits(start);
      if (second >= 0xDC00 && second <= 0xDFFF) return 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00);
    }
    fail(start, "half of a surrogate pair in a text");
  }

  char32_t parseHexDigits(const char* start) {
    std::uint32_t number = 0;
    const char* const end = end_ - at_ < 4 ? end_ : at_ + 4;
    const auto parsed = std::from_chars(at_, end, number, 16);
    if (parsed.ptr - at_ != 4) fail(start, "\\u needs four hexadecimal digits");
    at_ = parsed.ptr;
    return number;
  }

  void parseNumber() {
    const char* const start = at_;
    const bool isNegative = skip('-');
    const char* const digits = at_;
    std::uint64_t magnitude = 0;
    for (; at_ != end_ && isDigit(*at_); ++at_)
      magnitude = magnitude * 10 + static_cast<unsigned>(*at_ - '0');
    if (at_ == digits)
      fail(start, at_ == end_ ? "the text ends where a value is expected" : "expected a value");
    if (*digits == '0' && at_ - digits > 1) fail(start, "a number must not begin with 0");
    if (at_ != end_ && (*at_ == '.' || *at_ == 'e' || *at_ == 'E')) return parseReal(start);
    // Up to nineteen digits the sum above cannot have overflown.
    if (at_ - digits > 19) return parseLongInteger(start);
    sendInteger(start, isNegative, magnitude);
  }

  void sendInteger(const char* start, bool isNegative, std::uint64_t magnitude) {
    constexpr auto largest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    if (magnitude <= largest) {
      const auto number = static_cast<std::int64_t>(magnitude);
      sink_.integer(isNegative ? -number : number);
    } else if (!isNegative) {
      sink_.unsignedInteger(magnitude);
    } else if (magnitude == largest + 1) {
      sink_.integer(std::numeric_limits<std::int64_t>::min());
    } else {
      sendReal(start);
    }
  }

  void parseLongInteger(const char* start) {
    std::uint64_t number = 0;
    const auto parsed = std::from_chars(start, at_, number);
    if (parsed.ec == std::errc() && parsed.ptr == at_) return sink_.unsignedInteger(number);
    sendReal(start);
  }

  void parseReal(const char* start) {
    if (skip('.')) parseDigits(start, "a number needs a digit after the point");
    if (skip('e') || skip('E')) {
      if (!skip('+')) skip('-');
      parseDigits(start, "a number needs a digit in its exponent");
    }
    sendReal(start);
  }

  void parseDigits(const char* start, std::string_view problem) {
    if (at_ == end_ || !isDigit(*at_)) fail(start, problem);
    while (at_ != end_ && isDigit(*at_)) ++at_;
  }

  void sendReal(const char* start) {
    double number = 0;
    if (std::from_chars(start, at_, number).ec == std::errc::result_out_of_range) {
      if (isLarge({start, at_})) fail(start, "a number is too large");
      number = *start == '-' ? -0.0 : 0.0;
    }
    sink_.real(number);
  }

  const std::string_view text_;
  const char* at_;
  const char* const end_;
  StructureSink& sink_;
  std::vector<bool> openDictionaries_;  // for each open container whether it is a dictionary
  std::string unescaped_;
};

}  // namespace

void parseJSON(std::string_view text, StructureSink& sink) { Parser(text, sink).parse(); }

}  // namespace QVFoundation
