#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace QVFoundation::detail {

/// What a localisation is for, taken from its name: "zh_TW" is {"zh", "hant", "tw"}, "German" is {"de",
/// "", ""}.
///
/// Threads: a value.
struct LocalizationName {
  explicit LocalizationName(std::string_view name);

  std::string language;
  std::string script;
  std::string region;
};

/// How well a localisation serves somebody who reads a language; 0 where it does not.
[[nodiscard]] int fitOfLocalization(std::string_view localization, std::string_view language);

}  // namespace QVFoundation::detail
