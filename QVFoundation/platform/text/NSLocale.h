#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Value.h"

namespace QVFoundation {

/// How a region writes numbers, and which languages the user reads.
///
/// ```cpp
/// const NSLocale& locale = NSLocale::current();
/// std::string price = "9" + locale.decimalSeparator() + "95";
/// ```
///
/// What the environment says is read once, when it is first asked for. The process's own locale (`setlocale`)
/// is neither consulted nor changed, so it does not matter what a host or another library does with it.
///
/// Threads: a value; everything here from any thread. As everywhere, no thread may change the environment
/// while another one reads it: set variables before the first use.
class QV_EXPORT NSLocale {
public:
  /// What stands between the digits of a number.
  struct NumberSymbols {
    std::string decimalSeparator = ".";
    std::string groupingSeparator;

    /// The sizes of groups of digits from the decimal separator to the left. The last one repeats, unless it
    /// is 0: then what is left stays together. {3} groups by thousands, {3, 2} as in 12,34,56,789; none does
    /// not group.
    std::vector<std::uint8_t> groupingSizes;
  };

  /// What the user asked for: LC_ALL, else LC_NUMERIC, else LANG.
  [[nodiscard]] static const NSLocale& current();

  /// The locale of programs, whoever uses them: "en_US_POSIX", with a full stop and no groups.
  [[nodiscard]] static const NSLocale& system();

  /// The languages that the user reads, best first, as tags such as "de-AT": from LANGUAGE, LC_ALL,
  /// LC_MESSAGES and LANG. Each is followed by its plainer forms ("de"). Never empty: at least "en".
  [[nodiscard]] static const std::vector<std::string>& preferredLanguages();

  /// The locale of a name such as "de_AT", "de-AT" or "de_AT.UTF-8". Where this computer has no data for it,
  /// the numbers are those of `system()`.
  explicit NSLocale(std::string_view name);

  /// A locale with number symbols of one's own. An empty decimal separator stands for ".".
  NSLocale(std::string_view name, NumberSymbols symbols);

  /// Language, region and modifier without the encoding: "de_AT", "sr_RS@latin".
  [[nodiscard]] const std::string& identifier() const noexcept { return identifier_; }

  /// The language alone: "de".
  [[nodiscard]] std::string languageCode() const;

  [[nodiscard]] const std::string& decimalSeparator() const noexcept { return symbols_.decimalSeparator; }
  [[nodiscard]] const std::string& groupingSeparator() const noexcept { return symbols_.groupingSeparator; }
  [[nodiscard]] const std::vector<std::uint8_t>& groupingSizes() const noexcept {
    return symbols_.groupingSizes;
  }

private:
  std::string identifier_;
  NumberSymbols symbols_;
};

template <>
struct ValueTraits<NSLocale> {
  static Value toValue(const NSLocale& locale) { return Value::boxed(locale); }
  static std::optional<NSLocale> fromValue(const Value& value) {
    const auto* const locale = value.boxedContent<NSLocale>();
    return locale != nullptr ? std::optional(*locale) : std::nullopt;
  }
};

}  // namespace QVFoundation
