#pragma once

#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/text/Described.h"

namespace QVFoundation {

inline constexpr std::string_view NSGenericException = "NSGenericException";
inline constexpr std::string_view NSRangeException = "NSRangeException";
inline constexpr std::string_view NSInvalidArgumentException = "NSInvalidArgumentException";
inline constexpr std::string_view NSInternalInconsistencyException = "NSInternalInconsistencyException";
inline constexpr std::string_view NSUndefinedKeyException = "NSUndefinedKeyException";
inline constexpr std::string_view NSFileHandleOperationException = "NSFileHandleOperationException";

/// The exception for what a caller got wrong: an index past the end, a key that no class has, a closed file
/// handle. What goes wrong in the world outside is an `NSError`.
///
/// Threads: immutable; copies share their state and may be used on any thread.
class QV_EXPORT NSException : public std::exception {
public:
  /// Takes note of the call stack; the names of its functions are looked up when somebody asks.
  NSException(std::string_view name, std::optional<std::string> reason, Dictionary userInfo = {});
  ~NSException() override;
  NSException(const NSException&) noexcept;
  NSException& operator=(const NSException&) noexcept;

  [[nodiscard]] const std::string& name() const noexcept;
  [[nodiscard]] const std::optional<std::string>& reason() const noexcept;
  [[nodiscard]] const Dictionary& userInfo() const noexcept;
  /// One line a frame, innermost first, such as "0  player  Track::play() + 34 (track.cpp:81)".
  [[nodiscard]] std::vector<std::string> callStackSymbols() const;
  /// The reason, or the name where there is no reason.
  [[nodiscard]] const char* what() const noexcept override;
  [[nodiscard]] std::string description() const { return what(); }

private:
  struct State;
  std::shared_ptr<const State> state_;
};

}  // namespace QVFoundation
