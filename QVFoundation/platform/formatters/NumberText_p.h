#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <unicode/numfmt.h>

#include "QVFoundation/platform/concurrency/Mutex.h"
#include "QVFoundation/platform/formatters/NSNumberFormatter.h"
#include "QVFoundation/platform/runtime/NSNumber.h"

namespace QVFoundation::detail {

/// Numbers as text, in one style and locale.
///
/// Threads: any. ICU's formats are asked one at a time, since not all of them bear more.
class NumberText {
public:
  explicit NumberText(const NumberFormat& format);

  [[nodiscard]] std::string string(const NSNumber& number) const;
  [[nodiscard]] std::optional<NSNumber> number(std::string_view text) const;

private:
  const bool isInWords_;
  const bool isLenient_;
  mutable Mutex lock_;
  const std::unique_ptr<const icu::NumberFormat> format_;
};

}  // namespace QVFoundation::detail
