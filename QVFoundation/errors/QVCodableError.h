#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/CustomNSError.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/SharedNode.h"

namespace QVFoundation {

class StructureSink;

namespace detail {
struct CodableErrorNode;
}

/// A snapshot of an error and all its causes as plain data, which can be written as JSON, read again
/// elsewhere, and thrown.
///
/// ```cpp
/// const std::string json = jsonDescription(QVCodableError(error));
/// ...
/// throw QVCodableError::errorFromJSONDescription(json);
/// ```
///
/// Trees of causes may be of any depth and width; nothing here recurses.
///
/// Threads: an immutable value; copies share their state and may be used on any thread.
/// Errors: `decode` and `errorFromJSONDescription` throw an `NSError` in `NSCocoaErrorDomain`, and the latter
/// an `appError` for text that is not UTF-8.
class QV_EXPORT QVCodableError : public CustomNSError {
public:
  struct Fields;

  explicit QVCodableError(Fields fields);
  /// The record of an error. Its description is always present, because an error without a text of its own
  /// has a generic one.
  explicit QVCodableError(const NSError& error);
  /// The record of anything that was thrown; nothing for a null pointer.
  [[nodiscard]] static std::optional<QVCodableError> from(const std::exception_ptr& error);
  ~QVCodableError() override;
  QVCodableError(const QVCodableError&) noexcept;
  QVCodableError& operator=(const QVCodableError&) noexcept;

  [[nodiscard]] const std::string& domain() const noexcept;
  [[nodiscard]] std::int64_t code() const noexcept;
  [[nodiscard]] const std::optional<std::string>& errorDescription() const noexcept;
  [[nodiscard]] const std::optional<std::string>& recoverySuggestion() const noexcept;
  [[nodiscard]] const std::optional<std::string>& failureReason() const noexcept;
  [[nodiscard]] const std::optional<std::string>& localizedFailureError() const noexcept;
  [[nodiscard]] const std::optional<QVCodableError>& underlyingError() const noexcept;
  [[nodiscard]] const std::optional<std::vector<QVCodableError>>& multipleUnderlyingErrors() const noexcept;

  /// Writes the record: "domain" and "code" always, the other fields under their names where they
  /// are present.
  void encode(StructureSink& sink) const;
  /// Reads a record from a dictionary with these keys; null and absent mean the same, other keys are ignored.
  /// Throws an `NSError` that names the key where one is missing or holds a value of the wrong type.
  [[nodiscard]] static QVCodableError decode(const Value& keyed);
  /// Reads a record from the text that `jsonDescription` writes. Throws an `NSError` that says what is wrong:
  /// text that is not UTF-8, or where it is not JSON or of another shape.
  [[nodiscard]] static QVCodableError errorFromJSONDescription(std::string_view text);

  /// As an `NSError` the record has the name of its type as domain, not the domain that it stores,
  /// deliberately: who needs that one reads `domain()`.
  [[nodiscard]] std::int64_t errorCode() const override { return code(); }
  [[nodiscard]] Dictionary errorUserInfo() const override;

  /// Description and suggestion, and those of the underlying errors in parentheses.
  [[nodiscard]] std::string description() const override;
  /// The error description, or the domain where there is none.
  [[nodiscard]] const char* what() const noexcept override;

  friend QV_EXPORT bool operator==(const QVCodableError& a, const QVCodableError& b);

private:
  detail::Ref<const detail::CodableErrorNode> node_;
};

/// All that a record holds, in the order in which it is written. `{.domain = "D", .code = 7}` is enough: each
/// field has a default, so that nobody is warned of those left out.
struct QVCodableError::Fields {
  std::string domain{};
  std::int64_t code = 0;
  std::optional<std::string> errorDescription{};
  std::optional<std::string> recoverySuggestion{};
  std::optional<std::string> failureReason{};
  std::optional<std::string> localizedFailureError{};
  std::optional<QVCodableError> underlyingError{};
  std::optional<std::vector<QVCodableError>> multipleUnderlyingErrors{};
};

}  // namespace QVFoundation
