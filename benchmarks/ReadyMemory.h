#pragma once

#include <cstddef>
#include <sys/mman.h>

namespace QVFoundation::benchmarks {

/// Writes to so much memory, in large pages, and gives it back, so that whoever is measured next gets memory
/// that is there: the host of a virtual machine takes away what is free, and takes its time to bring it again.
inline void makeMemoryReady(std::size_t mebibytes) {
  const std::size_t size = mebibytes << 20;
  constexpr std::size_t page = 4096;
  void* const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return;
  madvise(memory, size, MADV_HUGEPAGE);
  for (std::size_t at = 0; at < size; at += page) static_cast<volatile char*>(memory)[at] = 1;
  munmap(memory, size);
}

}  // namespace QVFoundation::benchmarks
