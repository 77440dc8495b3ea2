#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <sys/mman.h>

#include "QVFoundation/operations/GrowingBytes_p.h"

namespace QVFoundation::detail {

namespace {

// Of small pages, the first write to each takes longer than what is written. Large ones can be moved only from
// and to multiples of their size; else they fall apart.
constexpr std::size_t largePage = 2UL * 1024 * 1024;
// Up to here `malloc` keeps what it got back, whose pages need no first write (mallopt(3), M_MMAP_THRESHOLD).
constexpr std::size_t mappingAtLeast = 16 * largePage;

std::size_t roundedUp(std::size_t size) { return (size + largePage - 1) / largePage * largePage; }

/// Addresses that are free now, from a multiple of the size of a large page on.
std::byte* mapAligned(std::size_t capacity) {
  void* const place =
      mmap(nullptr, capacity + largePage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (place == MAP_FAILED) throw std::bad_alloc();
  auto* const begin = static_cast<std::byte*>(place);
  const std::size_t before =
      roundedUp(reinterpret_cast<std::uintptr_t>(begin)) - reinterpret_cast<std::uintptr_t>(begin);
  if (before > 0) munmap(begin, before);
  munmap(begin + before + capacity, largePage - before);
  madvise(begin + before, capacity, MADV_HUGEPAGE);
  return begin + before;
}

}  // namespace

GrowingBytes::~GrowingBytes() {
  if (isMapping_) {
    munmap(begin_, capacity_);
  } else {
    std::free(begin_);
  }
}

void GrowingBytes::grow(std::size_t capacity) {
  capacity = std::max(capacity, capacity_ + capacity_ / 2);
  if (capacity >= mappingAtLeast) {
    growMapping(roundedUp(capacity));
    return;
  }
  void* const moved = std::realloc(begin_, capacity);
  if (moved == nullptr) throw std::bad_alloc();
  begin_ = static_cast<std::byte*>(moved);
  capacity_ = capacity;
}

void GrowingBytes::growMapping(std::size_t capacity) {
  if (!isMapping_) {
    std::byte* const mapping = mapAligned(capacity);
    if (size_ > 0) std::memcpy(mapping, begin_, size_);
    std::free(begin_);
    begin_ = mapping;
    isMapping_ = true;
  } else if (mremap(begin_, capacity_, capacity, 0) == MAP_FAILED) {  // where it is, there is no room
    std::byte* const mapping = mapAligned(capacity);
    if (mremap(begin_, capacity_, capacity, MREMAP_MAYMOVE | MREMAP_FIXED, mapping) == MAP_FAILED) {
      munmap(mapping, capacity);
      throw std::bad_alloc();
    }
    begin_ = mapping;
  }
  capacity_ = capacity;
}

}  // namespace QVFoundation::detail
