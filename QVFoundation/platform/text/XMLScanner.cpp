#include <algorithm>
#include <charconv>
#include <cstdint>

#include "QVFoundation/platform/text/SyntaxError_p.h"
#include "QVFoundation/platform/text/Unicode.h"
#include "QVFoundation/platform/text/XMLScanner_p.h"

namespace QVFoundation::detail {

namespace {

constexpr std::string_view blanks = " \t\r\n";
constexpr std::string_view startOfComment = "<!--";
constexpr std::string_view startOfData = "<![CDATA[";
constexpr std::string_view endOfName = " \t\r\n/><='\"&";

struct Entity {
  std::string_view name;
  char character;
};
constexpr Entity entities[] = {{"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"apos", '\''}, {"quot", '"'}};

/// The code point of a reference such as "#65" or "#x41"; 0 where it is none.
char32_t numericReference(std::string_view name) {
  const bool isHexadecimal = name.starts_with("#x");
  name.remove_prefix(isHexadecimal ? 2 : 1);
  std::uint32_t number = 0;
  const auto parsed =
      std::from_chars(name.data(), name.data() + name.size(), number, isHexadecimal ? 16 : 10);
  const bool isWhole = !name.empty() && parsed.ec == std::errc() && parsed.ptr == name.data() + name.size();
  return isWhole && isValidCodePoint(number) ? number : U'\0';
}

/// Appends characters with each CR LF, and each CR alone, made LF.
void appendWithLineFeeds(std::string& out, std::string_view text) {
  while (true) {
    const std::size_t end = text.find('\r');
    out += text.substr(0, end);
    if (end == std::string_view::npos) return;
    out += '\n';
    text.remove_prefix(end + (text.substr(end).starts_with("\r\n") ? 2 : 1));
  }
}

}  // namespace

void XMLScanner::fail(std::size_t offset, std::string_view problem) const {
  throw syntaxError("property list", text_, offset, problem);
}

XMLScanner::Tag XMLScanner::nextTag() {
  while (skipAside()) {
  }
  const std::size_t start = at_;
  if (at_ == text_.size()) fail(at_, "the text ends too soon");
  if (text_[at_] != '<') fail(at_, "expected a tag");
  ++at_;
  const bool isClosing = isAt("/");
  if (isClosing) ++at_;
  const std::string_view name = scanName();
  if (name.empty()) fail(start, "a tag has no name");

  // Attributes mean nothing here, but what they quote may contain what ends a tag.
  while (at_ < text_.size() && text_[at_] != '>' && text_[at_] != '<' && !isAt("/>")) {
    const char c = text_[at_++];
    if (c == '"' || c == '\'') skipQuoted(c);
  }
  const bool isEmpty = isAt("/>");
  if (isEmpty) ++at_;
  if (!isAt(">")) fail(start, "a tag does not end");
  ++at_;
  return {isClosing ? Tag::Kind::closing : isEmpty ? Tag::Kind::empty : Tag::Kind::opening, name, start};
}

std::string XMLScanner::textContent() {
  std::string out;
  while (at_ < text_.size()) {
    const std::size_t start = at_;
    if (isAt(startOfComment)) {
      skipComment();
    } else if (isAt(startOfData)) {
      skipPast(startOfData.size(), "]]>", "a CDATA section does not end");
      appendWithLineFeeds(out,
                          text_.substr(start + startOfData.size(), at_ - 3 - start - startOfData.size()));
    } else if (isAt("<")) {
      break;
    } else if (isAt("&")) {
      appendReference(out);
    } else {
      at_ = std::min(text_.find_first_of("<&", at_), text_.size());
      appendWithLineFeeds(out, text_.substr(start, at_ - start));
    }
  }
  return out;
}

bool XMLScanner::isAtEnd() {
  while (skipAside()) {
  }
  return at_ == text_.size();
}

void XMLScanner::skipBlanks() noexcept { at_ = std::min(text_.find_first_not_of(blanks, at_), text_.size()); }

/// Skips what has a beginning of that length and an end.
void XMLScanner::skipPast(std::size_t beginning, std::string_view end, std::string_view problem) {
  const std::size_t found = text_.find(end, at_ + beginning);
  if (found == std::string_view::npos) fail(at_, problem);
  at_ = found + end.size();
}

void XMLScanner::skipComment() { skipPast(startOfComment.size(), "-->", "a comment does not end"); }

/// Skips what says nothing; false where there is no more of it.
bool XMLScanner::skipAside() {
  skipBlanks();
  if (isAt(startOfComment)) {
    skipComment();
  } else if (isAt("<?")) {
    skipPast(2, "?>", "an instruction does not end");
  } else if (isAt("<!DOCTYPE")) {
    skipDocumentType();
  } else {
    return false;
  }
  return true;
}

/// Skips the declaration of the document's type, what it defines in brackets included.
void XMLScanner::skipDocumentType() {
  const std::size_t start = at_;
  std::size_t depth = 0;
  while (at_ < text_.size()) {
    if (isAt(startOfComment)) {
      skipComment();
      continue;
    }
    const char c = text_[at_++];
    if (c == '"' || c == '\'') {
      skipQuoted(c);
    } else if (c == '<') {
      ++depth;
    } else if (c == '>' && --depth == 0) {
      return;
    }
  }
  fail(start, "the document type does not end");
}

void XMLScanner::skipQuoted(char quote) {
  const std::size_t end = text_.find(quote, at_);
  if (end == std::string_view::npos) fail(at_ - 1, "a quote does not end");
  at_ = end + 1;
}

std::string_view XMLScanner::scanName() noexcept {
  const std::size_t start = at_;
  at_ = std::min(text_.find_first_of(endOfName, at_), text_.size());
  return text_.substr(start, at_ - start);
}

void XMLScanner::appendReference(std::string& out) {
  constexpr std::size_t longestName = 10;
  const std::string_view rest = text_.substr(at_ + 1, longestName + 1);
  const std::size_t end = rest.find(';');
  if (end == std::string_view::npos || end == 0) fail(at_, "an & that begins no reference");

  const std::string_view name = rest.substr(0, end);
  if (const auto* entity = std::ranges::find(entities, name, &Entity::name); entity != std::end(entities)) {
    out += entity->character;
  } else if (const char32_t codePoint = name.front() == '#' ? numericReference(name) : U'\0';
             codePoint != 0) {
    appendUTF8(out, codePoint);
  } else {
    fail(at_, "an unknown reference &" + std::string(name) + ";");
  }
  at_ += end + 2;
}

}  // namespace QVFoundation::detail
