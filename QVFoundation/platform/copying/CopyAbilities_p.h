#pragma once

#include <atomic>
#include <linux/magic.h>
#include <sys/vfs.h>

#include "QVFoundation/platform/files/SystemCalls_p.h"

namespace QVFoundation::detail {

/// What the file systems of a copy can do, as far as it has turned out. Each is tried until it is refused.
///
/// Threads: any.
struct CopyAbilities {
  std::atomic<bool> clones{true};        ///< give a file the blocks of another
  std::atomic<bool> offloads{true};      ///< copy without a way through this process
  std::atomic<bool> unnamedFiles{true};  ///< make files without a name, and give them one when they are whole
  std::atomic<bool> quietReads{true};    ///< read without a note of when

  /// Looks at the volume of the new items. Without a way of its own to copy, the kernel moves each page
  /// through a pipe, which takes longer than a buffer that stays in the processor's cache.
  void lookAt(int folder) noexcept {
    struct statfs volume{};
    if (systemCalls().volume(folder, &volume) != 0) return;
    if (volume.f_type == EXT4_SUPER_MAGIC || volume.f_type == TMPFS_MAGIC) refuse(offloads);
  }

  [[nodiscard]] static bool can(const std::atomic<bool>& ability) noexcept {
    return ability.load(std::memory_order_relaxed);
  }
  static void refuse(std::atomic<bool>& ability) noexcept { ability.store(false, std::memory_order_relaxed); }
};

}  // namespace QVFoundation::detail
