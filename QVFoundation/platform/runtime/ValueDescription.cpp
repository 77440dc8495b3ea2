#include <algorithm>
#include <array>
#include <ctime>
#include <string>
#include <vector>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Set.h"

namespace QVFoundation {

namespace {

/// One level of what a thread describes. What is nested deeper than the last one is cut to an ellipsis:
/// nobody reads it, and no input may exhaust the stack. Errors and objects come back here for what they hold,
/// so it counts for the thread.
class Level {
public:
  Level() noexcept { ++current; }
  Level(const Level&) = delete;
  Level& operator=(const Level&) = delete;
  ~Level() { --current; }

  [[nodiscard]] static bool isTooDeep() noexcept { return current > 100; }

private:
  static thread_local unsigned current;
};

thread_local unsigned Level::current = 0;

bool needsNoQuotes(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
           c == '.' || c == '/' || c == '$' || c == ':';
  });
}

void appendQuoted(std::string& out, std::string_view text) {
  out += '"';
  for (const char c : text) {
    switch (c) {
      case '"':
      case '\\':
        out += '\\';
        out += c;
        break;
      case '\n': out += "\\n"; break;
      case '\t': out += "\\t"; break;
      case '\r': out += "\\r"; break;
      default: out += c;
    }
  }
  out += '"';
}

std::string dataDescription(const NSData& data) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string out = "<";
  for (std::size_t i = 0; i < data.size(); ++i) {
    if (i > 0 && i % 4 == 0) out += ' ';
    out += digits[std::to_integer<unsigned>(data[i]) >> 4];
    out += digits[std::to_integer<unsigned>(data[i]) & 0xF];
  }
  return out + '>';
}

std::string dateDescription(NSDate date) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(date).time_since_epoch().count();
  std::tm utc{};
  const std::time_t time = seconds;
  if (gmtime_r(&time, &utc) == nullptr) return std::to_string(seconds) + " s";
  std::array<char, 64> text{};
  return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S +0000", &utc)};
}

/// Writes values the way property lists were once written by hand.
class Printer {
public:
  Printer(std::string& out, const NSLocale* locale) : out_(out), locale_(locale) {}

  void printContainer(const Value& value, unsigned indent) {
    if (Level::isTooDeep()) return void(out_ += "…");
    const Level level;
    switch (value.kind()) {
      case ValueKind::array: return printList("(", ")", value.array(), indent);
      case ValueKind::set: return printList("{(", ")}", sortedMembersOf(value.set()), indent);
      default: return printDictionary(value.dictionary(), indent);
    }
  }

private:
  void printElement(const Value& value, unsigned indent) {
    switch (value.kind()) {
      case ValueKind::text:
        return needsNoQuotes(*value.text()) ? void(out_ += *value.text()) : appendQuoted(out_, *value.text());
      case ValueKind::array:
      case ValueKind::dictionary:
      case ValueKind::set: return printContainer(value, indent);
      default: out_ += value.descriptionWithLocale(locale_, indent);
    }
  }

  static std::vector<Value> sortedMembersOf(const Set& set) {
    Dictionary members;
    for (const Value& member : set) members.set(member, NSNull{});
    std::vector<Value> sorted;
    for (const auto& [member, null] : members.sortedEntries()) sorted.push_back(member);
    return sorted;
  }

  template <class Elements>
  void printList(std::string_view open, std::string_view close, const Elements& elements, unsigned indent) {
    out_ += open;
    std::string_view separator = "\n";
    for (const Value& element : elements) {
      out_ += separator;
      startLine(indent + 1);
      printElement(element, indent + 1);
      separator = ",\n";
    }
    out_ += '\n';
    startLine(indent);
    out_ += close;
  }

  void printDictionary(const Dictionary& dictionary, unsigned indent) {
    out_ += "{\n";
    for (const auto& [key, value] : dictionary.sortedEntries()) {
      startLine(indent + 1);
      printElement(key, indent + 1);
      out_ += " = ";
      printElement(value, indent + 1);
      out_ += ";\n";
    }
    startLine(indent);
    out_ += '}';
  }

  void startLine(unsigned indent) { out_.append(std::size_t{4} * indent, ' '); }

  std::string& out_;
  const NSLocale* locale_;
};

}  // namespace

std::string Value::descriptionWithLocale(const NSLocale* locale, unsigned indent) const {
  if (Level::isTooDeep()) return "…";
  switch (kind()) {
    case ValueKind::nothing: return "(null)";
    case ValueKind::null: return "<null>";
    case ValueKind::number: return number()->description(locale);
    case ValueKind::text: return *text();
    case ValueKind::data: return dataDescription(*data());
    case ValueKind::date: return dateDescription(*date());
    case ValueKind::error: {
      const Level level;
      return error()->description();
    }
    case ValueKind::object: {
      const Level level;
      return object()->descriptionWithLocale(locale, indent);
    }
    case ValueKind::boxed: {
      const Level level;
      return box().description();
    }
    case ValueKind::array:
    case ValueKind::dictionary:
    case ValueKind::set: break;
  }
  std::string out;
  Printer(out, locale).printContainer(*this, indent);
  return out;
}

}  // namespace QVFoundation
