#pragma once

#include <string>
#include <vector>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation::detail {

/// The variables that say what the user reads and how they write numbers. One that is unset is empty here,
/// since the two mean the same.
///
/// Threads: a value; `ofProcess` reads the environment, which no other thread may change meanwhile.
struct QV_TEST_EXPORT LocaleEnvironment {
  std::string language = {};
  std::string lcAll = {};
  std::string lcMessages = {};
  std::string lcNumeric = {};
  std::string lang = {};

  static LocaleEnvironment ofProcess();

  /// The name of the locale for numbers; "C" where none is asked for.
  [[nodiscard]] std::string numericLocaleName() const;

  /// The name of the locale for messages; "C" where none is asked for.
  [[nodiscard]] std::string messagesLocaleName() const;

  /// See `NSLocale::preferredLanguages`.
  [[nodiscard]] std::vector<std::string> preferredLanguages() const;
};

}  // namespace QVFoundation::detail
