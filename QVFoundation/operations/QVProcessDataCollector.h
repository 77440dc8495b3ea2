#pragma once

#include <cstddef>
#include <memory>

#include "QVFoundation/operations/QVProcessIOHandle.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/processes/NSPipe.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Value.h"

namespace QVFoundation {

namespace detail {
class ProcessOutputReader;
}

/// Collects what a program writes, for programs that write little.
///
/// ```cpp
/// const auto output = std::make_shared<QVProcessDataCollector>();
/// const auto job = std::make_shared<QVProcessOperation>("/usr/bin/id", arguments, std::nullopt, output);
/// ```
///
/// While the program runs one chunk is read, as soon as there is something; the rest is read when it has
/// ended. This is intended. So a program may write `capacity()` bytes at least; once it has filled the pipe
/// beyond that chunk it waits for ever for somebody to read, and has to be cancelled. The pipe has the largest
/// buffer that the system allows, mostly 1 MiB. `QVProcessStreamCollector` has no such bound.
///
/// Threads: `data` once the operation has finished; `stopReading` any; the rest on the thread that runs the
/// operation.
/// Ownership: owns its pipe.
/// Errors: making it throws an `NSError` where the system has no pipe to give, and reading to the end where it
/// has to wait and there is no descriptor left for that. What cannot be read is missing from `data`. As a
/// program's input it is refused, with `NSInvalidArgumentException`.
class QV_EXPORT QVProcessDataCollector final : public QVProcessIOHandle {
public:
  QVProcessDataCollector();
  ~QVProcessDataCollector() override;

  /// Everything collected so far.
  [[nodiscard]] const NSData& data() const noexcept;
  /// How much the program may write at least before it has to wait, as the system says; that which was read
  /// of it early comes on top. Small writes may fill the pipe earlier.
  [[nodiscard]] std::size_t capacity() const noexcept;

  [[nodiscard]] NSTaskStream handle() const override;
  /// Waits for the first chunk where it is just being read; then reads to the end.
  void readToEndSync() override;
  [[nodiscard]] int descriptor() const override;
  void readAvailable() override;
  void stopReading() override;

private:
  struct Collected;
  void stopEarlyReading();

  const std::unique_ptr<detail::ProcessOutputReader> reader_;
  const std::shared_ptr<Collected> collected_;
  std::shared_ptr<NSObject> notificationToken_;
};

}  // namespace QVFoundation
