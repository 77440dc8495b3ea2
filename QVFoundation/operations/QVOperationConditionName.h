#pragma once

#include <compare>
#include <functional>
#include <string>
#include <utility>

#include "QVFoundation/platform/text/Described.h"

namespace QVFoundation {

/// The name of a condition that an operation's body waits for.
///
/// Threads: a plain value.
class QVOperationConditionName {
public:
  explicit QVOperationConditionName(std::string rawValue) : rawValue_(std::move(rawValue)) {}
  // Where a name is wanted, a literal is one.
  QVOperationConditionName(const char* rawValue) : rawValue_(rawValue) {}

  [[nodiscard]] const std::string& rawValue() const noexcept { return rawValue_; }
  /// What "%@" prints.
  [[nodiscard]] const std::string& description() const noexcept { return rawValue_; }

  friend bool operator==(const QVOperationConditionName&, const QVOperationConditionName&) = default;
  friend auto operator<=>(const QVOperationConditionName&, const QVOperationConditionName&) = default;

private:
  std::string rawValue_;
};

}  // namespace QVFoundation

template <>
struct std::hash<QVFoundation::QVOperationConditionName> {
  std::size_t operator()(const QVFoundation::QVOperationConditionName& name) const noexcept {
    return std::hash<std::string>()(name.rawValue());
  }
};
