#pragma once

#include <atomic>
#include <cstdint>

namespace QVFoundation::detail {

/// How many objects of the process have come to be observed, and one. Who has found objects unobserved need
/// not look at them again while it stands.
///
/// Threads: any. It grows after the object can be seen to be observed.
extern constinit std::atomic<std::uint64_t> firstObservations;

}  // namespace QVFoundation::detail
