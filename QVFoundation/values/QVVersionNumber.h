#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/NSSecureCoding.h"
#include "QVFoundation/values/VersionDigits.h"

namespace QVFoundation {

/// A version such as 2.1.3 or 1.0b2: a list of numbers, its digits, that is compared number by number.
///
/// ```cpp
/// const auto current = QVVersionNumber::mainBundleDisplayVersion();
/// if (current && current->compare(lastSeenVersion) > 0) showNews();
/// ```
///
/// The stage letters "a" and "b" are digits below zero, so that 1.0a1 < 1.0b1 < 1.0 < 1.0.1. What is missing at
/// the end of a version counts as zero, but of a longer *other* version only its first digit more is looked at:
/// 1.0.1 is above 1, while 1 is the same as 1.0.1. Callers rely on that. So keep versions out of sets, of
/// dictionaries as their keys, and of ordered containers: equality depends on who is asked, equal versions have
/// different hashes, and what looks equal to both of two others need not stand between them.
///
/// Observers of "digits" hear of each insertion and removal, also of those through a `MutableArrayProxy`.
///
/// Threads: reading from several threads is safe as long as nobody changes the version.
/// Errors: unreadable text gives null or no digits; an index past the end raises `NSException` named
/// `NSRangeException`.
class QV_EXPORT QVVersionNumber : public NSObject, public NSSecureCoding {
public:
  /// A version from a text of numbers, dots and the letters "a" and "b"; white space between them is
  /// skipped. Reading stops at anything else, so 1.2.3-beta is 1.2.3. Null where the text does not begin with
  /// a version, or there is none.
  ///
  /// Numbers are kept in 32 bits and may have a sign; one that is too large counts as the largest.
  [[nodiscard]] static std::shared_ptr<QVVersionNumber> versionWithString(
      const std::optional<std::string_view>& text);
  /// A version from a build number of an operating system, such as 9A581, whose letters are digits too. One
  /// with a lower-case letter behind stands below the one without: 9A581a < 9A581. Reading stops at anything
  /// but numbers and letters; what has neither gives a version without digits.
  ///
  /// Numbers are kept in 64 bits. A build number that begins with a lower-case letter raises
  /// `NSRangeException`.
  [[nodiscard]] static std::shared_ptr<QVVersionNumber> versionWithBuildVersionString(
      const std::optional<std::string_view>& text);
  /// The version of the program that people see; null where its bundle does not tell.
  [[nodiscard]] static std::shared_ptr<QVVersionNumber> mainBundleDisplayVersion();

  QVVersionNumber() noexcept;  ///< No digits.
  explicit QVVersionNumber(const std::vector<std::int64_t>& digits) : digits_(digits) {}
  explicit QVVersionNumber(detail::VersionDigits digits) noexcept : digits_(std::move(digits)) {}
  ~QVVersionNumber() override;

  static const NSClass& staticClass();
  [[nodiscard]] const NSClass& dynamicClass() const override { return staticClass(); }

  /// The text: 1.0b2 comes back as it was. Of a number all but the lowest 32 bits is left out.
  /// One below zero is the letter so many places before "z": -25 is "a".
  [[nodiscard]] std::string versionString() const;
  [[nodiscard]] std::int64_t majorVersionNumber() const noexcept { return digitOrZero(0); }
  /// The second digit, whatever it is: of 1b2 the letter. Zero where there is none.
  [[nodiscard]] std::int64_t minorVersionNumber() const noexcept { return digitOrZero(1); }
  [[nodiscard]] std::int64_t bugFixVersionNumber() const noexcept { return digitOrZero(2); }

  /// -1, 0 or 1 for below, same and above.
  [[nodiscard]] int compare(const QVVersionNumber& other) const noexcept {
    return digits_.compare(other.digits_);
  }
  /// The same for a text. One that is no version counts as one without digits.
  [[nodiscard]] int compare(const std::optional<std::string_view>& text) const;
  /// The same for two texts, but 0 where the first is no version, whatever the second is.
  [[nodiscard]] static int compareVersionString(const std::optional<std::string_view>& text,
                                                const std::optional<std::string_view>& other);
  /// The same for lists of objects that are sorted; what is no version has no order.
  [[nodiscard]] std::partial_ordering compare(const NSObject& other) const override;
  /// Whether `compare` finds this version the same as another. The hash stays that of the object.
  [[nodiscard]] bool isEqual(const NSObject& other) const override;
  /// The object itself, so what changes the one changes the other.
  [[nodiscard]] std::shared_ptr<NSObject> copy() const override;
  [[nodiscard]] std::string description() const override;

  /// An archive has the numbers under "digits". Without that key the version has no digits; anything but whole
  /// numbers there is damage.
  void encodeWithCoder(NSCoder& coder) const override;
  void initWithCoder(NSCoder& coder) override;

  // The digits
  [[nodiscard]] std::vector<std::int64_t> digits() const { return digits_.vector(); }
  void setDigits(const std::vector<std::int64_t>& digits);
  [[nodiscard]] std::size_t countOfDigits() const noexcept { return digits_.all().size(); }
  [[nodiscard]] std::int64_t objectInDigitsAtIndex(std::uint32_t index) const;
  void insertObject(std::int64_t digit, std::uint32_t index);  ///< `index` may be `countOfDigits()`.
  void removeObjectFromDigitsAtIndex(std::uint32_t index);
  void addDigit(std::int64_t digit);  ///< At the end.
  /// For walking over the digits where they stand; the next change ends its use.
  [[nodiscard]] std::span<const std::int64_t> digitEnumerator() const noexcept { return digits_.all(); }

private:
  [[nodiscard]] std::int64_t digitOrZero(std::size_t index) const noexcept {
    return index < digits_.all().size() ? digits_.all()[index] : 0;
  }

  detail::VersionDigits digits_;
};

}  // namespace QVFoundation
