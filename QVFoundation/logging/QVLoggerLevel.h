#pragma once

#include <cstdint>

namespace QVFoundation {

/// How much a line matters. The library logs at these four; filters and writers accept any other value.
///
/// Threads: constants.
enum QVLoggerLevel : std::int32_t {
  QVLoggerLevelDebug = 1,
  QVLoggerLevelInfo = 2,
  QVLoggerLevelError = 3,
  QVLoggerLevelAssert = 4,
};

/// A set of levels. Only the four named ones can be members.
///
/// Threads: a value.
class QVLogLevelSet {
public:
  constexpr QVLogLevelSet() noexcept = default;
  [[nodiscard]] static constexpr QVLogLevelSet all() noexcept {
    return fromBits(bit(1) | bit(2) | bit(3) | bit(4));
  }
  [[nodiscard]] static constexpr QVLogLevelSet fromBits(std::uint32_t bits) noexcept {
    QVLogLevelSet set;
    set.bits_ = bits;
    return set;
  }

  [[nodiscard]] constexpr bool contains(QVLoggerLevel level) const noexcept {
    return (bits_ & bit(level)) != 0;
  }
  [[nodiscard]] constexpr QVLogLevelSet with(QVLoggerLevel level, bool isMember) const noexcept {
    return fromBits(isMember ? bits_ | bit(level) : bits_ & ~bit(level));
  }
  [[nodiscard]] constexpr std::uint32_t bits() const noexcept { return bits_; }
  friend constexpr bool operator==(QVLogLevelSet, QVLogLevelSet) noexcept = default;

private:
  static constexpr std::uint32_t bit(std::int32_t level) noexcept {
    return level >= QVLoggerLevelDebug && level <= QVLoggerLevelAssert ? std::uint32_t{1} << level : 0;
  }

  std::uint32_t bits_ = 0;
};

}  // namespace QVFoundation
