#pragma once

#include <atomic>
#include <linux/magic.h>
#include <sys/vfs.h>

#include "QVFoundation/platform/files/SystemCalls_p.h"

namespace QVFoundation::detail {

/// What the file systems of a copy can do, as far as it has turned out. Each is tried until it is refused.
///
/// Threads: any.
class CopyAbilities {
public:
  std::atomic<bool> clones{true};        ///< give a file the blocks of another
  std::atomic<bool> offloads{true};      ///< copy without a way through this process
  std::atomic<bool> unnamedFiles{true};  ///< make files without a name, and give them one when they are whole
  /// Give them one by their descriptors alone, which takes a privilege or Linux 6.10; else by way of /proc.
  std::atomic<bool> linksByDescriptor{true};
  std::atomic<bool> quietReads{true};  ///< read without a note of when

  /// Whether the system copies between such files by itself; that of the new ones is looked at once. Without
  /// a way of its own to copy, the kernel moves each page through a pipe, which takes longer than a buffer
  /// that stays in the processor's cache.
  [[nodiscard]] bool canOffloadTo(int newFile) noexcept {
    struct statfs volume{};
    if (!hasLookedAtVolume_.exchange(true, std::memory_order_relaxed) &&
        systemCalls().volume(newFile, &volume) == 0 &&
        (volume.f_type == EXT4_SUPER_MAGIC || volume.f_type == TMPFS_MAGIC)) {
      refuse(offloads);
    }
    return can(offloads);
  }

  [[nodiscard]] static bool can(const std::atomic<bool>& ability) noexcept {
    return ability.load(std::memory_order_relaxed);
  }
  static void refuse(std::atomic<bool>& ability) noexcept { ability.store(false, std::memory_order_relaxed); }

private:
  std::atomic<bool> hasLookedAtVolume_{false};
};

}  // namespace QVFoundation::detail
