#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/NSObject.h"

/// Errors that a person can act on: options with titles, such as "Replace" and "Keep both", and what each of
/// them does.
///
/// ```cpp
/// const auto titles = error.localizedRecoveryOptions();
/// const std::size_t chosen = ask(error.localizedDescription(), titles);
/// if (auto failure = performRecoveryWithIndex(error, chosen)) report(*failure);
/// ```
///
/// Threads: the functions are safe from any thread; handlers run on the thread that asks for the recovery.
namespace QVFoundation {

/// What a recovery option does. It is given the error and returns the error that recovering ran into, if any.
using QVRecoveryHandler = std::function<std::optional<NSError>(const NSError&)>;

/// What whoever presents an error calls with the option that was chosen. Attempters are objects (`NSObject`)
/// found under `NSRecoveryAttempterErrorKey`.
class QV_EXPORT QVErrorRecoveryAttempter {
public:
  using DidRecover = std::function<void(NSObject& delegate, bool didRecover, void* contextInfo)>;

  virtual ~QVErrorRecoveryAttempter();

  virtual bool attemptRecoveryFromError(const NSError& error, std::size_t optionIndex) = 0;
  /// The same, and then tells the delegate, if both it and the callable are given.
  virtual void attemptRecoveryFromError(const NSError& error, std::size_t optionIndex,
                                        const std::shared_ptr<NSObject>& delegate,
                                        const DidRecover& didRecover, void* contextInfo) = 0;
};

/// True when the error has a recovery attempter.
[[nodiscard]] QV_EXPORT bool canRecover(const NSError& error);

/// The recovery attempter of the error's cause; null if there is no cause or it has none.
[[nodiscard]] QV_EXPORT std::shared_ptr<NSObject> underlyingAttempter(const NSError& error);

/// The handlers in the order of the option titles, empty where a title has none; nothing where the error has no
/// handlers at all.
[[nodiscard]] QV_EXPORT std::optional<std::vector<QVRecoveryHandler>> recoveryBlocks(const NSError& error);

/// Calls the handler at an index and returns what it returns; past the end it calls nothing and
/// returns nothing.
QV_EXPORT std::optional<NSError> performRecoveryWithIndex(const NSError& error, std::size_t index);

/// The first error that a recovery ran into, searched from this error down the chain of causes.
[[nodiscard]] QV_EXPORT std::optional<NSError> findRecoveryError(const NSError& error);

}  // namespace QVFoundation
