#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>
#include <span>

namespace QVFoundation::detail {

/// Bytes that are read into it piece by piece. Growing moves pages, not bytes, where there are many; and room is
/// not filled before it is written to.
///
/// Threads: as a plain value.
/// Errors: `std::bad_alloc`; what is there stays.
class GrowingBytes {
public:
  [[nodiscard]] std::span<const std::byte> bytes() const noexcept { return {begin_.get(), size_}; }
  [[nodiscard]] std::size_t size() const noexcept { return size_; }

  /// The room behind the bytes, not less than asked for; valid until more is asked for.
  [[nodiscard]] std::span<std::byte> room(std::size_t atLeast) {
    if (capacity_ - size_ < atLeast) grow(std::max(size_ + atLeast, capacity_ + capacity_ / 2));
    return {begin_.get() + size_, capacity_ - size_};
  }
  /// Takes in what was written to the room.
  void append(std::size_t count) noexcept { size_ += count; }

private:
  struct Free {
    void operator()(std::byte* bytes) const noexcept { std::free(bytes); }
  };

  void grow(std::size_t capacity) {
    void* const moved = std::realloc(begin_.get(), capacity);
    if (moved == nullptr) throw std::bad_alloc();
    (void)begin_.release();
    begin_.reset(static_cast<std::byte*>(moved));
    capacity_ = capacity;
  }

  std::unique_ptr<std::byte, Free> begin_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace QVFoundation::detail
