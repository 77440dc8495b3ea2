#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation::detail {

/// Makes lines of pieces of text, wherever those are cut.
///
/// Threads: as a plain value; the handler is called on the thread that brings the pieces.
/// Errors: what the handler throws goes to who has brought the piece, whose rest is lost.
class QV_TEST_EXPORT LineSplitter {
public:
  using Handler = std::function<void(std::string_view line)>;

  /// Of longer lines only the beginning is handed over.
  LineSplitter(Handler handler, std::size_t longestLine);

  void take(std::string_view piece);
  /// Hands over a last line that has no end.
  void end();
  /// How many bytes were not handed over.
  [[nodiscard]] std::uint64_t droppedByteCount() const noexcept { return dropped_; }

private:
  /// As much of a text as a line that has so many bytes already may take.
  [[nodiscard]] std::string_view fitting(std::string_view text, std::size_t before);
  void handOver(std::string_view rest);

  const Handler handler_;
  const std::size_t longestLine_;
  std::string begun_;  // the line whose end is still to come
  bool hasBegun_ = false;
  std::uint64_t dropped_ = 0;
};

}  // namespace QVFoundation::detail
