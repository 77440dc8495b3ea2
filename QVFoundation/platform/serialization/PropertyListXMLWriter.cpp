#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

#include "QVFoundation/platform/serialization/Base64_p.h"
#include "QVFoundation/platform/serialization/PropertyListDate_p.h"
#include "QVFoundation/platform/serialization/PropertyListForms_p.h"
#include "QVFoundation/platform/serialization/ValueWalk_p.h"
#include "QVFoundation/platform/text/Unicode.h"

namespace QVFoundation::detail {

namespace {

// No document type: naming one would only send parsers to the network, and no reader of property lists
// needs it.
constexpr std::string_view beginning =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n";
constexpr std::string_view ending = "</plist>\n";

/// What a reader would not give back as it is: a line feed alone survives the reading of text.
std::string_view escapeOf(char c) {
  switch (c) {
    case '<': return "&lt;";
    case '>': return "&gt;";
    case '&': return "&amp;";
    case '\r': return "&#13;";
    default: return {};
  }
}

bool isForbidden(char c) {
  return static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n' && c != '\r';
}

/// The two noncharacters that XML leaves out, so that no reader takes the document.
bool hasNoncharacter(std::string_view text) {
  return text.find("\uFFFE") != std::string_view::npos || text.find("\uFFFF") != std::string_view::npos;
}

class Writer {
public:
  explicit Writer(const Value& value) : walk_(value) {}

  std::string write() {
    out_ = beginning;
    while (const auto event = walk_.next()) writeEvent(*event);
    out_ += ending;
    return std::move(out_);
  }

private:
  using Event = ValueWalk::Event;

  void writeEvent(Event event) {
    switch (event) {
      case Event::beginDictionary: return begin("<dict>\n");
      case Event::endDictionary: return writeLine("</dict>");
      case Event::beginArray: return begin("<array>\n");
      case Event::endArray: return writeLine("</array>");
      case Event::key: return writeElement("key", walk_.key());
      case Event::leaf: return writeLeaf(walk_.value());
    }
  }

  void begin(std::string_view tag) {
    if (walk_.value().kind() == ValueKind::set) throw walk_.kindError();
    if (walk_.depth() > deepestPropertyListLevel) {
      throw walk_.error("it is nested deeper than " + std::to_string(deepestPropertyListLevel) + " levels");
    }
    indent(walk_.depth() - 1);
    out_ += tag;
  }

  void writeLeaf(const Value& value) {
    switch (value.kind()) {
      case ValueKind::number: return writeNumber(*value.number());
      case ValueKind::text: return writeElement("string", *value.text());
      case ValueKind::date: return writeElement("date", textFromDate(*value.date()));
      case ValueKind::data: return writeElement("data", base64FromData(*value.data()));
      default: throw walk_.kindError();
    }
  }

  void writeNumber(const NSNumber& number) {
    if (number.isBoolean()) {
      writeLine(number.boolValue() ? "<true/>" : "<false/>");
    } else if (number.isFloatingPoint()) {
      // As a double, since that is what it will be read as: the short form of a float would be another
      // number then.
      writeElement("real", NSNumber(number.doubleValue()).description());
    } else {
      writeElement("integer", number.description());
    }
  }

  void writeElement(std::string_view name, std::string_view content) {
    indent(walk_.depth());
    out_ += '<';
    out_ += name;
    out_ += '>';
    appendEscaped(content);
    out_ += "</";
    out_ += name;
    out_ += ">\n";
  }

  void appendEscaped(std::string_view text) {
    if (!isValidUTF8(text)) throw walk_.error("it is not valid UTF-8");
    if (hasNoncharacter(text)) throw walk_.error("XML cannot hold U+FFFE and U+FFFF, and it has one of them");
    while (!text.empty()) {
      const auto special =
          std::ranges::find_if(text, [](char c) { return !escapeOf(c).empty() || isForbidden(c); });
      const auto length = static_cast<std::size_t>(special - text.begin());
      out_ += text.substr(0, length);
      if (length == text.size()) break;
      if (isForbidden(*special)) throw walk_.error("XML cannot hold the control characters in it");
      out_ += escapeOf(*special);
      text.remove_prefix(length + 1);
    }
  }

  void writeLine(std::string_view line) {
    indent(walk_.depth());
    out_ += line;
    out_ += '\n';
  }

  void indent(std::size_t level) { out_.append(level, '\t'); }

  ValueWalk walk_;
  std::string out_;
};

}  // namespace

NSData writeXMLPropertyList(const Value& value) {
  const std::string text = Writer(value).write();
  NSData data(text.size());
  std::memcpy(data.data(), text.data(), text.size());
  return data;
}

}  // namespace QVFoundation::detail
