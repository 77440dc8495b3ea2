#pragma once

/// Threads: any.

namespace QVFoundation {
inline std::string nothing() { return {}; }
}  // namespace QVFoundation
