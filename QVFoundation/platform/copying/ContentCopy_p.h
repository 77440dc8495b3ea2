#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <sys/stat.h>

#include "QVFoundation/platform/copying/CopyAbilities_p.h"
#include "QVFoundation/platform/copying/CopyEngine_p.h"

namespace QVFoundation::detail {

/// What is read into.
///
/// Threads: one at a time.
class CopyBuffer {
public:
  static constexpr std::size_t size = 256 * 1024;
  /// Made when it is first needed.
  [[nodiscard]] std::byte* bytes() {
    if (bytes_ == nullptr) bytes_.reset(new std::byte[size]);
    return bytes_.get();
  }

private:
  std::unique_ptr<std::byte[]> bytes_;
};

/// Copies the content of one open file to another, which is new: as a clone if that is asked for, else by the
/// system, else by reading and writing, whichever the file systems can do. Holes stay holes.
///
/// Copied is what the file has when it is read; it may grow or shrink meanwhile.
///
/// Threads: one at a time.
class ContentCopy {
public:
  enum class Way { cloned, offloaded, copied };
  /// Gets the bytes so far; false to stop.
  using Progress = std::function<bool(std::int64_t copied)>;

  /// Progress is called at least every 8 MiB, and on slow devices oftener; with `CopyFlushPolicy::written`
  /// of what has reached the device. An empty one is never called; then the file is taken for a small one, and
  /// one that has grown beyond 2 MiB ends in `ECANCELED`.
  ContentCopy(int from, int to, const struct stat& status, const CopyOptions& options,
              CopyAbilities& abilities, CopyBuffer& buffer, const Progress& progress);

  /// 0, an `errno`, or `ECANCELED` where it was stopped.
  [[nodiscard]] int run();
  [[nodiscard]] Way way() const noexcept { return way_; }
  [[nodiscard]] std::int64_t size() const noexcept { return position_; }  ///< of the new file, in the end

private:
  [[nodiscard]] bool clone();
  [[nodiscard]] bool hasHoles() const;
  [[nodiscard]] int copyAll();
  [[nodiscard]] int copyAroundHoles();
  [[nodiscard]] int copyUntil(off_t end);
  [[nodiscard]] int copyOnce(std::size_t size, std::size_t& copied);
  [[nodiscard]] int offload(std::size_t size, std::size_t& copied) const;
  [[nodiscard]] int readAndWrite(std::size_t size, std::size_t& copied);
  [[nodiscard]] int writeAll(std::size_t size);
  [[nodiscard]] int pace();
  [[nodiscard]] int report();
  [[nodiscard]] int finish();

  const int from_;
  const int to_;
  const struct stat& status_;
  const CopyOptions& options_;
  CopyAbilities& abilities_;
  CopyBuffer& buffer_;
  const Progress& progress_;

  Way way_ = Way::copied;
  bool offloads_ = false;
  bool isAtEnd_ = false;       // the file has ended
  off_t position_ = 0;         // in both files
  std::size_t portion_;        // what is copied at a time, so that progress comes in time
  off_t writtenOut_ = 0;       // what lies before is on the device
  off_t beingWrittenOut_ = 0;  // and what lies before that, on its way
};

}  // namespace QVFoundation::detail
