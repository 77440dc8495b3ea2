#pragma once

#include <cstddef>
#include <sys/mman.h>

namespace QVFoundation::benchmarks {

/// Writes to so much memory and gives it back, so that whoever is measured next gets memory that is there: the
/// host of a virtual machine takes away what is free, and takes its time to bring it again.
inline void makeMemoryReady(std::size_t mebibytes) {
  const std::size_t size = mebibytes << 20;
  void* const memory =
      mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
  if (memory != MAP_FAILED) munmap(memory, size);
}

}  // namespace QVFoundation::benchmarks
