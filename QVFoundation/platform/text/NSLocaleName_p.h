#pragma once

#include <string>
#include <string_view>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation::detail {

/// The name of a locale taken apart: language[_region][.encoding][@modifier]. The encoding is dropped, since
/// all text here is UTF-8. A name that could not be one, such as a path, is taken for "C".
///
/// Threads: a value.
struct QV_TEST_EXPORT LocaleName {
  explicit LocaleName(std::string_view name);

  std::string language;
  std::string region;  ///< All that follows the language: "AT", "Hant_TW".
  std::string modifier;

  /// "C", "POSIX" and "en_US_POSIX", in whatever encoding.
  [[nodiscard]] bool isPOSIX() const noexcept;

  /// As web pages and packages name languages: "de-AT", "sr-Latn-RS".
  [[nodiscard]] std::string languageTag() const;

  /// "de_AT", "sr_RS@latin", "en_US_POSIX".
  [[nodiscard]] std::string identifier() const;

  /// The name with `encoding` put in, as the C library knows it: "sr_RS.UTF-8@latin".
  [[nodiscard]] std::string nameWithEncoding(std::string_view encoding) const;
};

}  // namespace QVFoundation::detail
