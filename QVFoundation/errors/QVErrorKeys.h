#pragma once

#include <string_view>

#include "QVFoundation/platform/runtime/NSErrorKeys.h"

/// The user-info keys that the library adds to those of the platform. `QVErrorDomain` with its codes and
/// `QVExceptionCallStackSymbolsKey` stand in the header included here.
///
/// Threads: constants.
namespace QVFoundation {

/// How the error is to be presented: an integer whose values the applications define.
inline constexpr std::string_view QVErrorStyleKey = "QVErrorStyle";
/// An array of `QVRecoveryHandler`s, one for each recovery option, in the same order.
inline constexpr std::string_view QVRecoveryBlocksErrorKey = "QVRecoveryBlocksErrorKey";

}  // namespace QVFoundation
