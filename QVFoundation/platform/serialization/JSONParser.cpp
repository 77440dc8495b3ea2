#include "QVFoundation/platform/serialization/JSON.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include <nlohmann/json.hpp>

#include "QVFoundation/platform/serialization/SyntaxError_p.h"

namespace QVFoundation {

namespace {

using JSON = nlohmann::json;

/// What is wrong, of a message such as "[json.exception.parse_error.101] parse error at line 1, column 2:
/// syntax error while parsing value - invalid literal; last read: '[x'; expected …": what stands behind the
/// dash, without the text that was read, which may be long.
std::string problemOf(std::string_view message) {
  const std::size_t dash = message.find(" - ");
  message.remove_prefix(dash != std::string_view::npos ? dash + 3 : message.find("] ") + 2);
  const std::size_t token = std::min(message.find("; last read: '"), message.find(" parsing '"));
  std::string problem(message.substr(0, token));
  if (token == std::string_view::npos) return problem;

  constexpr std::size_t longestExpectation = 64;
  const std::size_t expectation = message.rfind("'; expected ");
  const bool isShort =
      expectation != std::string_view::npos && message.size() - expectation < longestExpectation;
  if (isShort) problem += message.substr(expectation + 1);
  return problem;
}

/// Hands the parser's events on. It never asks the parser to stop: a sink that has enough throws.
class Events {
public:
  Events(std::string_view text, StructureSink& sink) : text_(text), sink_(sink) {}

  bool null() { return sink_.null(), true; }
  bool boolean(bool truth) { return sink_.boolean(truth), true; }
  bool number_integer(std::int64_t number) { return sink_.integer(number), true; }
  bool number_unsigned(std::uint64_t number) {
    if (std::in_range<std::int64_t>(number)) return number_integer(static_cast<std::int64_t>(number));
    return sink_.unsignedInteger(number), true;
  }
  bool number_float(double number, const std::string& /*digits*/) { return sink_.real(number), true; }
  bool string(const std::string& text) { return sink_.text(text), true; }
  bool binary(const JSON::binary_t& /*bytes*/) { return false; }  // there is none in text

  bool start_object(std::size_t /*size*/) { return sink_.beginDictionary(), true; }
  bool key(const std::string& key) { return sink_.key(key), true; }
  bool end_object() { return sink_.endDictionary(), true; }
  bool start_array(std::size_t /*size*/) { return sink_.beginArray(), true; }
  bool end_array() { return sink_.endArray(), true; }

  [[noreturn]] bool parse_error(std::size_t position, const std::string& /*token*/,
                                const JSON::exception& error) {
    throw detail::syntaxError("JSON", text_, position > 0 ? position - 1 : 0, problemOf(error.what()));
  }

private:
  const std::string_view text_;
  StructureSink& sink_;
};

}  // namespace

void parseJSON(std::string_view text, StructureSink& sink) {
  // The parser takes a zero byte for the end.
  if (const std::size_t zero = text.find('\0'); zero != std::string_view::npos) {
    throw detail::syntaxError("JSON", text, zero, "a zero byte");
  }
  Events events(text, sink);
  JSON::sax_parse(text, &events);
}

}  // namespace QVFoundation
