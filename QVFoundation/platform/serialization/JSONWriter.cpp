#include "QVFoundation/platform/serialization/JSONWriter.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/serialization/JSONText_p.h"
#include "QVFoundation/platform/text/Unicode.h"

namespace QVFoundation {

namespace {

constexpr std::size_t deepestIndentation = 64;

template <class Number>
void appendNumber(std::string& out, Number number) {
  std::array<char, 32> digits{};
  out.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr);
}

void appendControlCharacter(std::string& out, unsigned char c) {
  constexpr std::string_view hexDigits = "0123456789abcdef";
  out += "\\u00";
  out += hexDigits[c >> 4];
  out += hexDigits[c & 0xF];
}

void appendEscaped(std::string& out, char c) {
  constexpr std::string_view plain = "\"\\\b\f\n\r\t";
  constexpr std::string_view letters = "\"\\bfnrt";
  if (const std::size_t index = plain.find(c); index != std::string_view::npos) {
    out += '\\';
    out += letters[index];
  } else {
    appendControlCharacter(out, static_cast<unsigned char>(c));
  }
}

/// Appends what stands at `at` and does not stand for itself; returns where it ends.
const char* appendSpecial(std::string& out, const char* at, const char* end) {
  if (static_cast<unsigned char>(*at) < 0x80) {
    appendEscaped(out, *at);
    return at + 1;
  }
  appendUTF8(out, replacementCharacter);
  return at + decodeUTF8({at, end}).length;
}

void appendQuoted(std::string& out, std::string_view text) {
  const char* at = text.data();
  const char* const end = at + text.size();
  out += '"';
  while (true) {
    const char* const verbatim = at;
    at = detail::endOfVerbatimText(at, end);
    out.append(verbatim, at);
    if (at == end) break;
    at = appendSpecial(out, at, end);
  }
  out += '"';
}

}  // namespace

void JSONWriter::key(std::string_view key) {
  beginEntry();
  appendQuoted(out_, key);
  out_ += ':';
  if (style_ == JSONStyle::pretty) out_ += ' ';
  completesKey_ = true;
}

void JSONWriter::text(std::string_view text) {
  beginValue();
  appendQuoted(out_, text);
}

void JSONWriter::integer(std::int64_t number) {
  beginValue();
  appendNumber(out_, number);
}

void JSONWriter::unsignedInteger(std::uint64_t number) {
  beginValue();
  appendNumber(out_, number);
}

void JSONWriter::real(double number) {
  if (!std::isfinite(number)) {
    throw NSError(
        std::string(NSCocoaErrorDomain), NSPropertyListWriteInvalidError,
        {{NSLocalizedDescriptionKey, "JSON has no form for the number " + NSNumber(number).description()}});
  }
  beginValue();
  const std::size_t start = out_.size();
  appendNumber(out_, number);
  if (out_.find_first_of(".e", start) == std::string::npos) out_ += ".0";
}

void JSONWriter::boolean(bool truth) {
  beginValue();
  out_ += truth ? "true" : "false";
}

void JSONWriter::null() {
  beginValue();
  out_ += "null";
}

void JSONWriter::open(char bracket) {
  beginValue();
  out_ += bracket;
  follows_ = false;
  ++depth_;
}

void JSONWriter::close(char bracket) {
  --depth_;
  if (follows_) startLine();
  out_ += bracket;
  follows_ = true;
}

void JSONWriter::beginEntry() {
  if (follows_) out_ += ',';
  follows_ = true;
  if (depth_ > 0) startLine();
}

void JSONWriter::beginValue() {
  if (!completesKey_) return beginEntry();
  completesKey_ = false;
}

void JSONWriter::startLine() {
  if (style_ == JSONStyle::compact) return;
  out_ += '\n';
  out_.append(2 * std::min(depth_, deepestIndentation), ' ');
}

}  // namespace QVFoundation
