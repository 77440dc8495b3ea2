#pragma once

#include <cstdint>

namespace QVFoundation {

/// How much an entry of the system log matters, from least to most.
///
/// Threads: a plain value.
enum class OSLogType : std::uint8_t {
  debug,     ///< for developers; off until somebody switches it on
  info,      ///< helps to understand an error that comes later
  default_,  ///< what somebody who looks after the machine may want to know
  error,     ///< something failed
  fault,     ///< something failed that never should: a defect in the program
};

}  // namespace QVFoundation
