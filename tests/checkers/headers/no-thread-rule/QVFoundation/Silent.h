#pragma once

namespace QVFoundation {
/// Adds two numbers; threads are not mentioned as they should be.
inline int sum(int a, int b) { return a + b; }
}  // namespace QVFoundation
