#pragma once

#include <cstddef>
#include <span>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation::detail {

/// Bytes that are read into it piece by piece. Room is not filled before it is written to; where there are many
/// bytes, growing moves pages instead of copying, and pages are large ones, if the system has some.
///
/// Threads: as a plain value.
/// Errors: `std::bad_alloc`; what is there stays.
class QV_TEST_EXPORT GrowingBytes {
public:
  GrowingBytes() noexcept = default;
  GrowingBytes(const GrowingBytes&) = delete;
  GrowingBytes& operator=(const GrowingBytes&) = delete;
  ~GrowingBytes();

  [[nodiscard]] std::span<const std::byte> bytes() const noexcept { return {begin_, size_}; }
  [[nodiscard]] std::size_t size() const noexcept { return size_; }

  /// The room behind the bytes, not less than asked for; valid until more is asked for.
  [[nodiscard]] std::span<std::byte> room(std::size_t atLeast) {
    if (capacity_ - size_ < atLeast) grow(size_ + atLeast);
    return {begin_ + size_, capacity_ - size_};
  }
  /// Takes in what was written to the room.
  void append(std::size_t count) noexcept { size_ += count; }

private:
  void grow(std::size_t capacity);
  void growMapping(std::size_t capacity);

  std::byte* begin_ = nullptr;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
  bool isMapping_ = false;
};

}  // namespace QVFoundation::detail
