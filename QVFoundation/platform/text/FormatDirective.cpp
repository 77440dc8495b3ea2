#include <algorithm>
#include <array>
#include <limits>
#include <string_view>

#include "QVFoundation/platform/text/FormatDirective_p.h"

namespace QVFoundation::detail {

namespace {

enum class Role : unsigned char { none, conversion, length, digit };

/// What each byte may be in a directive.
constexpr auto roles = [] {
  std::array<Role, 256> table{};
  const auto set = [&](std::string_view characters, Role role) {
    for (const char c : characters) table[static_cast<unsigned char>(c)] = role;
  };
  set("@sSdiuoxXcCpfFeEgGaA%", Role::conversion);
  set("hlqjztL", Role::length);
  set("0123456789", Role::digit);
  return table;
}();

class DirectiveReader {
public:
  DirectiveReader(const char* at, const char* end) : at_(at), end_(end) {}

  FormatDirective read() {
    FormatDirective directive;
    if (!readConversion(directive.spec)) {
      if (nextIs(Role::digit)) directive.argument = readPlace();
      readFlags(directive.spec);
      readWidth(directive);
      readPrecision(directive);
      while (nextIs(Role::length)) ++at_;
      readConversion(directive.spec);
    }
    return directive;
  }

  [[nodiscard]] const char* at() const noexcept { return at_; }

private:
  // No directive holds a zero, so it can stand for the end.
  [[nodiscard]] char peek() const noexcept { return at_ != end_ ? *at_ : '\0'; }

  [[nodiscard]] bool nextIs(Role role) const noexcept {
    return roles[static_cast<unsigned char>(peek())] == role;
  }

  bool take(char c) {
    if (peek() != c) return false;
    ++at_;
    return true;
  }

  bool readConversion(FormatSpec& spec) {
    if (!nextIs(Role::conversion)) return false;
    spec.conversion = *at_++;
    return true;
  }

  /// Reads digits. A number that is too large becomes the largest.
  std::uint32_t readNumber() {
    constexpr std::uint64_t greatest = std::numeric_limits<std::int32_t>::max();
    std::uint64_t number = 0;
    while (nextIs(Role::digit))
      number = std::min(number * 10 + static_cast<unsigned>(*at_++ - '0'), greatest);
    return static_cast<std::uint32_t>(number);
  }

  /// Reads "2$", or nothing.
  ArgumentPlace readPlace() {
    const char* const start = at_;
    if (const std::uint32_t number = readNumber(); number > 0 && take('$')) return {number};
    at_ = start;
    return {};
  }

  void readFlags(FormatSpec& spec) {
    while (true) {
      switch (peek()) {
        case '-': spec.left = true; break;
        case '+': spec.plus = true; break;
        case ' ': spec.space = true; break;
        case '#': spec.alternate = true; break;
        case '0': spec.zero = true; break;
        case '\'': spec.group = true; break;
        default: return;
      }
      spec.isPlain = false;
      ++at_;
    }
  }

  void readWidth(FormatDirective& directive) {
    if (!nextIs(Role::digit) && peek() != '*') return;
    directive.spec.isPlain = false;
    if (take('*')) {
      directive.widthIsArgument = true;
      directive.width = readPlace();
    } else {
      directive.spec.width = std::min(readNumber(), greatestWidth);
    }
  }

  void readPrecision(FormatDirective& directive) {
    if (!take('.')) return;
    directive.spec.isPlain = false;
    if (take('*')) {
      directive.precisionIsArgument = true;
      directive.precision = readPlace();
    } else {
      directive.spec.precision = static_cast<std::int32_t>(readNumber());
    }
  }

  const char* at_;
  const char* end_;
};

}  // namespace

FormatDirective readDirective(const char*& at, const char* end) {
  DirectiveReader reader(at, end);
  const FormatDirective directive = reader.read();
  at = reader.at();
  return directive;
}

}  // namespace QVFoundation::detail
