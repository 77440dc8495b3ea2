#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "QVFoundation/operations/QVProcessIOHandle.h"
#include "QVFoundation/platform/Export.h"

namespace QVFoundation {

namespace detail {
class GrowingBytes;
class LineSplitter;
class ProcessOutputReader;
}  // namespace detail

/// Collects what a program writes while it writes it, or hands it over line by line.
///
/// ```cpp
/// const auto errors = std::make_shared<QVProcessStreamCollector>(64 * 1024);  // the first 64 KiB will do
/// const auto lines = std::make_shared<QVProcessStreamCollector>(
///     [&](std::string_view line) { show(line); });
/// const auto job = std::make_shared<QVProcessOperation>("/usr/bin/make", arguments, folder, lines);
/// job->setErrorHandle(errors);
/// ```
///
/// Everything is read, so the program never waits for long, whatever the bound: what is beyond is counted and
/// dropped.
///
/// Threads: `stopReading` any. The rest on the thread that runs the operation, where the handler is called
/// too, or once the operation has finished.
/// Ownership: owns its pipe and what it has collected; the handler until it is released.
/// Errors: making it throws an `NSError` where the system has no pipe to give, and reading to the end where it
/// has to wait and there is no descriptor left for that. What cannot be read is missing. What the handler
/// throws ends the program and is the operation's failure; `std::bad_alloc` likewise. As a program's input it
/// is refused, with `NSInvalidArgumentException`.
class QV_EXPORT QVProcessStreamCollector final : public QVProcessIOHandle {
public:
  /// Keeps everything.
  QVProcessStreamCollector();
  /// Keeps the first so many bytes.
  explicit QVProcessStreamCollector(std::size_t keepAtMost);
  /// Keeps nothing, but calls a handler with each line, without its line feed; also with a last one that has
  /// none. The text is valid during the call. Of a line of more bytes than `longestLine` only so many are
  /// handed over, the rest is dropped. Without that bound a line is held in memory until its end comes, however
  /// long it grows: give one for a program that is not trusted to end its lines. An empty handler raises
  /// `NSInvalidArgumentException`.
  explicit QVProcessStreamCollector(std::function<void(std::string_view line)> lineHandler,
                                    std::optional<std::size_t> longestLine = std::nullopt);
  ~QVProcessStreamCollector() override;

  /// What was kept; empty where lines are handed over. Valid until more is read.
  [[nodiscard]] std::span<const std::byte> data() const noexcept;
  [[nodiscard]] std::string_view text() const noexcept;
  /// How many bytes were beyond the bound; where lines are handed over, what was cut off long ones.
  [[nodiscard]] std::uint64_t droppedByteCount() const noexcept;

  /// Whether it was made with a handler of lines.
  [[nodiscard]] bool handsOverLines() const noexcept { return lines_ != nullptr; }

  [[nodiscard]] NSTaskStream handle() const override;
  void readToEndSync() override;
  [[nodiscard]] int descriptor() const override;
  void readAvailable() override;
  void stopReading() override;

private:
  QVProcessStreamCollector(std::size_t keepAtMost, std::unique_ptr<detail::LineSplitter> lines);
  bool readOnce();
  void take(std::span<const std::byte> bytes);

  const std::unique_ptr<detail::ProcessOutputReader> reader_;
  const std::size_t bound_;
  const std::unique_ptr<detail::LineSplitter> lines_;  // null where bytes are kept
  const std::unique_ptr<detail::GrowingBytes> kept_;
  const std::unique_ptr<detail::GrowingBytes> passing_;  // what is not kept, while it is looked at
  std::uint64_t dropped_ = 0;
};

}  // namespace QVFoundation
