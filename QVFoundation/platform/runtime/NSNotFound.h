#pragma once

#include <cstddef>
#include <cstdint>

/// The index that says that there is none.
///
/// Threads: a constant.
namespace QVFoundation {

/// The largest signed word, which no list is long enough to have as an index.
inline constexpr std::size_t NSNotFound = PTRDIFF_MAX;

}  // namespace QVFoundation
