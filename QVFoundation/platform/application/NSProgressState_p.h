#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "QVFoundation/platform/application/NSProgress.h"

namespace QVFoundation {

/// The two numbers of a progress, as they are or as they are going to be.
///
/// Threads: a value.
struct NSProgress::Counts {
  std::int64_t total;
  std::int64_t completed;

  /// Wraps around, as atomic numbers do.
  void add(std::int64_t units) noexcept {
    completed =
        static_cast<std::int64_t>(static_cast<std::uint64_t>(completed) + static_cast<std::uint64_t>(units));
  }
  [[nodiscard]] bool isFinished() const noexcept { return total >= 0 && completed >= total && completed > 0; }
  [[nodiscard]] bool isIndeterminate() const noexcept {
    return total < 0 || completed < 0 || (total == 0 && completed == 0);
  }
};

/// Some progress objects with observers, the lowest first.
///
/// Threads: belongs to the thread that made it.
struct NSProgress::Observed {
  std::array<std::shared_ptr<NSProgress>, 4> progresses;
  std::size_t count = 0;
};

/// What few of the progress objects of a large tree have.
///
/// Threads: under the lock of its progress.
struct NSProgress::Details {
  using SharedHandler = std::shared_ptr<const Handler>;  // copied under the lock, called without it

  std::optional<std::string> description;
  std::optional<std::string> additionalDescription;
  std::optional<std::string> kind;
  Dictionary userInfo;
  SharedHandler cancellationHandler;
  SharedHandler pausingHandler;
  SharedHandler resumingHandler;
  bool hasToldCancellation = false;
};

inline NSProgress::Counts NSProgress::counts() const noexcept { return {total_.load(), completed_.load()}; }

}  // namespace QVFoundation
