#include "QVFoundation/platform/text/Format.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>

#include "QVFoundation/platform/text/FormatWriters_p.h"
#include "QVFoundation/platform/text/NSLocale.h"

namespace QVFoundation {

namespace {

using detail::FormatDirective;
using detail::FormatOutput;
using detail::FormatSpec;
using Kind = FormatArgument::Kind;

constexpr bool isFloatingConversion(char c) {
  return (c >= 'e' && c <= 'g') || (c >= 'E' && c <= 'G') || c == 'a' || c == 'A';
}
constexpr bool isCharacterConversion(char c) { return c == 'c' || c == 'C'; }

bool isInteger(Kind kind) {
  return kind == Kind::boolean || kind == Kind::character || kind == Kind::signedInteger ||
         kind == Kind::unsignedInteger;
}

void appendIntegral(FormatOutput& out, const FormatSpec& spec, const FormatArgument& argument) {
  const bool asCharacter =
      isCharacterConversion(spec.conversion) || (argument.kind() == Kind::character && spec.takesText());
  if (asCharacter && argument.kind() != Kind::boolean) {
    detail::appendCharacter(out, spec, argument.unsignedInteger());
  } else if (isFloatingConversion(spec.conversion)) {
    detail::appendIntegerAsFloating(out, spec, argument);
  } else {
    detail::appendInteger(out, spec, argument);
  }
}

void appendArgument(FormatOutput& out, const FormatSpec& spec, const FormatArgument& argument) {
  const bool asAddress = spec.conversion == 'p';
  switch (argument.kind()) {
    case Kind::null:
      return asAddress ? detail::appendAddress(out, spec, nullptr)
                       : detail::appendPadded(out, spec, "(null)");
    case Kind::boolean:
    case Kind::character:
    case Kind::signedInteger:
    case Kind::unsignedInteger: return appendIntegral(out, spec, argument);
    case Kind::floating:
    case Kind::longFloating: return detail::appendFloating(out, spec, argument);
    case Kind::text: return detail::appendText(out, spec, argument.text());
    case Kind::characters:
      return asAddress ? detail::appendAddress(out, spec, argument.address())
                       : detail::appendText(out, spec, argument.text());
    case Kind::pointer: return detail::appendAddress(out, spec, argument.address());
    case Kind::object:
      return asAddress ? detail::appendAddress(out, spec, argument.address())
                       : detail::appendObject(out, spec, argument);
  }
}

class Formatter {
public:
  Formatter(FormatOutput& out, const NSLocale* locale, FormatArguments arguments)
      : out_(out), locale_(locale), arguments_(arguments) {}

  [[gnu::hot]] void append(std::string_view format) {
    const char* at = format.data();
    const char* const end = at + format.size();
    while (at != end) {
      const char* percent =
          static_cast<const char*>(std::memchr(at, '%', static_cast<std::size_t>(end - at)));
      if (percent == nullptr) percent = end;
      out_.append(std::string_view(at, percent));
      at = percent;
      if (at != end && !appendCommonDirective(at, end)) appendDirective(at, end);
    }
  }

private:
  /// Prints "%d", "%ld" or "%@" of an integer or a text, which most directives are, and moves behind it. That
  /// little code stays in the processor's cache where what follows a line, a system call, drives most out.
  bool appendCommonDirective(const char*& at, const char* end) {
    const char* letter = at + 1;
    while (letter != end && *letter == 'l') ++letter;
    if (letter == end || next_ >= arguments_.size()) return false;
    const FormatArgument& argument = arguments_[next_];
    if (argument.isText() && *letter == '@') {
      out_.append(argument.text());
    } else if (argument.kind() == Kind::signedInteger && (*letter == 'd' || *letter == '@')) {
      detail::appendDecimal(out_, argument.signedInteger());
    } else {
      return false;
    }
    ++next_;
    at = letter + 1;
    return true;
  }

  /// Reads the directive that stands at a '%', prints it, and moves behind it.
  [[gnu::noinline]] void appendDirective(const char*& at, const char* end) {
    const char* const percent = at++;
    FormatDirective directive = detail::readDirective(at, end);
    FormatSpec& spec = directive.spec;
    if (spec.conversion == '\0') return out_.append(std::string_view(percent, at));  // stands for itself
    if (spec.conversion == '%') return out_.append('%');
    if (directive.widthIsArgument) takeWidth(directive);
    if (directive.precisionIsArgument) takePrecision(directive);
    spec.locale = locale_;
    const FormatArgument* argument = take(directive.argument);
    argument != nullptr ? appendArgument(out_, spec, *argument)
                        : detail::appendPadded(out_, spec, "(missing)");
  }

  const FormatArgument* take(detail::ArgumentPlace place) {
    const std::size_t index = place.number > 0 ? place.number - 1 : next_++;
    return index < arguments_.size() ? &arguments_[index] : nullptr;
  }

  /// The integer at a place, within the range of `std::int32_t`; nothing where there is none.
  std::optional<std::int32_t> takeInteger(detail::ArgumentPlace place) {
    constexpr std::int64_t greatest = std::numeric_limits<std::int32_t>::max();
    const FormatArgument* argument = take(place);
    if (argument == nullptr || !isInteger(argument->kind())) return {};
    if (argument->kind() == Kind::unsignedInteger && argument->signedInteger() < 0) return greatest;
    return static_cast<std::int32_t>(std::clamp(argument->signedInteger(), -greatest, greatest));
  }

  void takeWidth(FormatDirective& directive) {
    const std::int32_t width = takeInteger(directive.width).value_or(0);
    if (width < 0) directive.spec.left = true;
    directive.spec.width = std::min(static_cast<std::uint32_t>(std::abs(width)), detail::greatestWidth);
  }

  void takePrecision(FormatDirective& directive) {
    directive.spec.precision = takeInteger(directive.precision).value_or(-1);
  }

  FormatOutput& out_;
  const NSLocale* locale_;
  FormatArguments arguments_;
  std::size_t next_ = 0;
};

}  // namespace

[[gnu::hot]] void detail::appendFormat(FormatOutput& out, const NSLocale* locale, std::string_view format,
                                       FormatArguments arguments) {
  Formatter(out, locale, arguments).append(format);
}

void appendFormat(std::string& out, const NSLocale* locale, std::string_view format,
                  FormatArguments arguments) {
  FormatOutput collected(out);
  detail::appendFormat(collected, locale, format, arguments);
  collected.flush();
}

std::string stringWithFormatArguments(const NSLocale* locale, std::string_view format,
                                      FormatArguments arguments) {
  std::string out;
  appendFormat(out, locale, format, arguments);
  return out;
}

std::string localizedStringWithFormatArguments(std::string_view format, FormatArguments arguments) {
  return stringWithFormatArguments(&NSLocale::current(), format, arguments);
}

}  // namespace QVFoundation
