#pragma once

#include <concepts>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "QVFoundation/errors/QVErrorRecovery.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/Task.h"
#include "QVFoundation/platform/concurrency/TaskState.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation {

/// Assembles an error piece by piece, with recovery options.
///
/// ```cpp
/// const NSError error = QVErrorBuilder::buildErrorWithBlock([&](QVErrorBuilder& builder) {
///   builder.setDomain("PlayerErrorDomain");
///   builder.setCode(7);
///   builder.setLocalizedDescription("“Prelude” exists already.");
///   builder.addRecoveryOptionWithTitle("Replace", [track](const NSError&) { return replace(track); });
///   builder.addRecoveryOptionWithTitle("Cancel", nullptr);
/// });
/// ```
///
/// Threads: used by one thread at a time.
class QV_EXPORT QVErrorBuilder : public NSObject {
public:
  using Block = std::function<void(QVErrorBuilder&)>;

  static const NSClass& staticClass();
  [[nodiscard]] const NSClass& dynamicClass() const override { return staticClass(); }

  [[nodiscard]] static std::shared_ptr<QVErrorBuilder> errorBuilder();
  /// Calls the block once with a new builder and returns the error that it described.
  [[nodiscard]] static NSError buildErrorWithBlock(const Block& block);
  /// Awaited, the same with an asynchronous block.
  template <std::invocable<QVErrorBuilder&> AsyncBlock>
    requires detail::givesTask<AsyncBlock&, QVErrorBuilder&>
  [[nodiscard]] static Task<NSError> buildError(AsyncBlock block) {
    const auto builder = errorBuilder();
    co_await block(*builder);
    co_return builder->generateError();
  }
  /// The error with "message: " in front of its description, and all else as it was; unchanged without
  /// a message.
  [[nodiscard]] static NSError buildError(const NSError& wrapping, std::optional<std::string_view> message);

  [[nodiscard]] const std::optional<std::string>& domain() const noexcept { return domain_; }
  void setDomain(std::optional<std::string> domain) { domain_ = std::move(domain); }
  [[nodiscard]] std::int64_t code() const noexcept { return code_; }
  void setCode(std::int64_t code) noexcept { code_ = code; }
  /// The class of the error to be; null means the base class.
  [[nodiscard]] const NSClass* errorClass() const noexcept { return errorClass_; }
  void setErrorClass(const NSClass* errorClass) noexcept { errorClass_ = errorClass; }

  /// All that follows lives in here, under the key of the same meaning.
  [[nodiscard]] Dictionary& userInfo() noexcept { return userInfo_; }
  [[nodiscard]] const Dictionary& userInfo() const noexcept { return userInfo_; }
  void setUserInfo(Dictionary userInfo) { userInfo_ = std::move(userInfo); }
  void setUserInfoValue(const Value& value, std::string_view key);  ///< Nothing removes the key.

  [[nodiscard]] std::optional<std::string> localizedDescription() const;
  void setLocalizedDescription(const std::optional<std::string>& description);
  [[nodiscard]] std::optional<std::string> localizedRecoverySuggestion() const;
  void setLocalizedRecoverySuggestion(const std::optional<std::string>& suggestion);
  [[nodiscard]] std::optional<std::string> helpAnchor() const;
  void setHelpAnchor(const std::optional<std::string>& anchor);
  [[nodiscard]] std::optional<NSError> underlyingError() const;
  void setUnderlyingError(const std::optional<NSError>& error);
  [[nodiscard]] std::shared_ptr<NSObject> recoveryAttempter() const;
  void setRecoveryAttempter(std::shared_ptr<NSObject> attempter);
  /// Without a style a builder answers 0, where an error answers 2; both are intended.
  [[nodiscard]] std::int64_t errorStyle() const;
  void setErrorStyle(std::int64_t style);

  /// Adds an option and what it does. An empty handler does nothing and reports no error. The attempter that
  /// calls the handlers is added with the first option, unless there is one already.
  void addRecoveryOptionWithTitle(std::string_view title, QVRecoveryHandler recoveryHandler);
  /// Removes titles and handlers; the attempter stays.
  void clearRecoveryOptionsAndBlocks();

  /// Takes over domain, code and class of an error, and its user info, style included, in place of the
  /// builder's own.
  void takeAttributesFromError(const NSError& error);

  /// The error as described so far. The builder can be changed and asked again.
  [[nodiscard]] NSError generateError() const;

  [[nodiscard]] std::string description() const override;

private:
  void appendTo(std::string_view key, const Value& element);

  std::optional<std::string> domain_;
  std::int64_t code_ = 0;
  const NSClass* errorClass_ = nullptr;
  Dictionary userInfo_;
};

}  // namespace QVFoundation
