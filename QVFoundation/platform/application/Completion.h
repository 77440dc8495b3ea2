#pragma once

#include <optional>
#include <utility>

#include "QVFoundation/platform/runtime/NSError.h"

namespace QVFoundation {

/// How a publisher ends: it has nothing more to say, or it failed.
///
/// Threads: a value.
class Completion {
public:
  [[nodiscard]] static Completion finished() noexcept { return Completion(std::nullopt); }
  [[nodiscard]] static Completion failed(NSError error) noexcept { return Completion(std::move(error)); }

  [[nodiscard]] bool isFinished() const noexcept { return !error_; }
  /// Why it failed; nothing where it finished.
  [[nodiscard]] const std::optional<NSError>& error() const noexcept { return error_; }

private:
  explicit Completion(std::optional<NSError> error) noexcept : error_(std::move(error)) {}

  std::optional<NSError> error_;
};

}  // namespace QVFoundation
