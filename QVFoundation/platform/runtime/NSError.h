#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/NSErrorKeys.h"
#include "QVFoundation/platform/runtime/SharedNode.h"
#include "QVFoundation/platform/runtime/Value.h"
#include "QVFoundation/platform/text/Described.h"

namespace QVFoundation {

class NSClass;
class NSObject;

/// What went wrong: a domain, a code that means something in it, and a dictionary with texts for people,
/// causes and ways to recover. It is returned, stored and thrown as it is.
///
/// ```cpp
/// throw NSError("PlayerErrorDomain", 7, {{NSLocalizedDescriptionKey, "The track cannot be played."}});
/// ```
///
/// Threads: an immutable value; copies share their state and may be used on any thread.
class QV_EXPORT NSError : public std::exception {
public:
  NSError(std::optional<std::string_view> domain, std::int64_t code, Dictionary userInfo = {});
  /// An error of a class of one's own, which must be a subclass of `staticClass()`.
  NSError(std::optional<std::string_view> domain, std::int64_t code, Dictionary userInfo,
          const NSClass& errorClass);
  ~NSError() override;
  NSError(const NSError&) noexcept;
  NSError& operator=(const NSError&) noexcept;

  static const NSClass& staticClass();  ///< The base error class, named "NSError".

  [[nodiscard]] const std::optional<std::string>& domain() const noexcept;
  [[nodiscard]] std::int64_t code() const noexcept;
  [[nodiscard]] const Dictionary& userInfo() const noexcept;
  [[nodiscard]] const NSClass& errorClass() const noexcept;
  [[nodiscard]] const std::string& className() const noexcept;

  /// What happened, for people. Without a text of its own an error says that the operation could not be
  /// completed, with what else is known: the failure reason, the system's text for an `errno`, or domain
  /// and code. Where it says what failed (`NSLocalizedFailureErrorKey`), that and the reason are the text.
  [[nodiscard]] const std::string& localizedDescription() const;
  [[nodiscard]] std::optional<std::string> localizedFailureReason() const;
  [[nodiscard]] std::optional<std::string> localizedRecoverySuggestion() const;
  [[nodiscard]] std::vector<std::string> localizedRecoveryOptions() const;
  [[nodiscard]] std::optional<std::string> helpAnchor() const;
  [[nodiscard]] std::shared_ptr<NSObject> recoveryAttempter() const;
  /// The causes: the underlying error first, then those of the list of several.
  [[nodiscard]] std::vector<NSError> underlyingErrors() const;

  /// The localized description.
  [[nodiscard]] const char* what() const noexcept override;
  /// Domain, code, description, user info and the chain of causes, for logs and developers. Texts and
  /// containers within it may bring line breaks.
  [[nodiscard]] std::string description() const;
  /// Where this error's state lives; what "%p" prints.
  [[nodiscard]] const void* address() const noexcept { return node_.get(); }

  /// Equal domain, code and user info, all the way down the chain of causes.
  friend QV_EXPORT bool operator==(const NSError& a, const NSError& b);

private:
  friend class Value;
  explicit NSError(detail::Ref<const detail::ErrorNode> node) noexcept;

  detail::Ref<const detail::ErrorNode> node_;
};

template <>
struct ValueTraits<NSError> {
  static std::optional<NSError> fromValue(const Value& value) { return value.error(); }
};

}  // namespace QVFoundation
