#pragma once

#include <cstdint>

namespace QVFoundation {

/// What a signpost marks.
///
/// Threads: a plain value.
enum class OSSignpostType : std::uint8_t {
  event,  ///< a moment
  begin,  ///< where an interval begins
  end,    ///< where the interval of the same name and identifier ends
};

}  // namespace QVFoundation
