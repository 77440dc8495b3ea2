#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/text/NSCharacterSet.h"

namespace QVFoundation {

/// Reads a text token by token.
///
/// ```cpp
/// NSScanner scanner("  640 x 480");
/// const auto width = scanner.scanInt();
/// const bool isSize = scanner.scanString("x");
/// const auto height = scanner.scanInt();
/// ```
///
/// Before each token it skips the characters to be skipped, which are white space and line breaks unless you
/// say otherwise, also where the token itself would begin with one. What is not there gives nothing, and then
/// the scanner stays where it was, so that something else can be tried.
///
/// Texts are compared as they are written, upper case and lower case apart. What is not UTF-8 counts as U+FFFD.
///
/// Threads: as a value: one thread at a time.
/// Ownership: the text and what is scanned of it are those of the caller, who keeps the text meanwhile.
/// Errors: a location behind the end of the text raises `NSException` named `NSRangeException`; else none.
class QV_EXPORT NSScanner {
public:
  explicit NSScanner(std::string_view text) : text_(text) {}
  /// A text that is gone before the scanner can read it.
  template <std::same_as<std::string> Temporary>
  explicit NSScanner(Temporary&& text) = delete;

  [[nodiscard]] const NSCharacterSet& charactersToBeSkipped() const noexcept { return toBeSkipped_; }
  void setCharactersToBeSkipped(NSCharacterSet characters) noexcept { toBeSkipped_ = std::move(characters); }

  /// A whole number in ASCII digits, with or without a sign right before it. One that is too large or too small
  /// counts as the largest or smallest, and all of its digits are read.
  std::optional<std::int32_t> scanInt();
  std::optional<std::int64_t> scanInteger();  ///< The same in 64 bits.

  /// Whether exactly that text came next. The empty text never does.
  bool scanString(std::string_view text);
  /// As many characters of the set as come next, if there are any.
  std::optional<std::string_view> scanCharactersFromSet(const NSCharacterSet& set);
  /// What comes before the first character of the set, or to the end, if there is anything.
  std::optional<std::string_view> scanUpToCharactersFromSet(const NSCharacterSet& set);
  /// What comes before a text, or to the end, if there is anything.
  std::optional<std::string_view> scanUpToString(std::string_view text);

  /// Whether nothing is left but what would be skipped.
  [[nodiscard]] bool isAtEnd() const { return tokenStart() == text_.size(); }
  /// Where it reads on, in bytes from the start of the text.
  [[nodiscard]] std::size_t scanLocation() const noexcept { return location_; }
  /// Behind the end of the text raises `NSRangeException`.
  void setScanLocation(std::size_t location);

private:
  [[nodiscard]] std::size_t tokenStart() const { return endOfRun(location_, toBeSkipped_, true); }
  [[nodiscard]] std::size_t endOfRun(std::size_t start, const NSCharacterSet& set, bool isIn) const;
  std::optional<std::string_view> take(std::size_t start, std::size_t end);
  template <class Integer>
  std::optional<Integer> scanNumber();

  std::string_view text_;
  std::size_t location_ = 0;
  NSCharacterSet toBeSkipped_ = NSCharacterSet::whitespaceAndNewlineCharacterSet();
};

}  // namespace QVFoundation
