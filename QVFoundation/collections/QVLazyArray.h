#pragma once

#include <atomic>
#include <compare>
#include <cstddef>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <thread>
#include <utility>

#include "QVFoundation/platform/Export.h"

namespace QVFoundation {

namespace detail {

/// Whether one element of a lazy array is there, and who makes it.
class QV_EXPORT LazySlot {
public:
  [[nodiscard]] bool isFilled() const noexcept {
    return state_.load(std::memory_order_acquire) == State::filled;
  }
  /// True for who is to fill the slot, and then calls `end`; false once somebody else has.
  [[nodiscard]] bool begin(std::size_t index);
  void end(bool isFilled) noexcept;

private:
  enum class State : int { empty, filling, filled };

  std::atomic<State> state_ = State::empty;
  std::atomic<std::thread::id> filler_ = {};
};

[[noreturn]] QV_EXPORT void raiseLazyIndex(std::size_t index, std::size_t size);

}  // namespace detail

/// A list whose elements are made by a function of the index, each when somebody first asks for it.
///
/// ```cpp
/// const QVLazyArray<Image> pages(pageCount, [&](std::size_t page) { return document.render(page); });
/// show(pages[41]);  // renders this one page
/// ```
///
/// Threads: any. The function makes each element once, on the thread that asks first; others that ask for the
/// same one wait for it, and different ones are made side by side. The function may ask for other elements,
/// as long as no two of them wait for each other.
/// Errors: an index past the end raises `NSException` named `NSRangeException`. What the function throws goes
/// through, and the next who asks has it try again. An element that asks for itself raises
/// `NSInternalInconsistencyException`.
template <class T>
class QVLazyArray {
public:
  class Iterator;
  using iterator = Iterator;
  using const_iterator = Iterator;
  using value_type = T;

  QVLazyArray(std::size_t size, std::function<T(std::size_t)> make)
      : size_(size), make_(std::move(make)), slots_(std::make_unique<Slot[]>(size)) {}

  [[nodiscard]] std::size_t size() const noexcept { return size_; }
  [[nodiscard]] bool empty() const noexcept { return size_ == 0; }
  /// The element, made now unless it is there. The reference holds as long as the array.
  [[nodiscard]] const T& operator[](std::size_t index) const {
    if (index >= size_) detail::raiseLazyIndex(index, size_);
    Slot& slot = slots_[index];
    if (!slot.isFilled()) fill(slot, index);
    return *slot.content;
  }
  /// Whether the element is there already.
  [[nodiscard]] bool isFilled(std::size_t index) const noexcept {
    return index < size_ && slots_[index].isFilled();
  }

  /// A loop makes the elements that it reaches.
  [[nodiscard]] const_iterator begin() const noexcept { return {this, 0}; }
  [[nodiscard]] const_iterator end() const noexcept { return {this, static_cast<std::ptrdiff_t>(size_)}; }

private:
  struct Slot : detail::LazySlot {
    std::optional<T> content;  // written by who fills the slot, before it is filled
  };

  void fill(Slot& slot, std::size_t index) const {
    if (!slot.begin(index)) return;
    try {
      slot.content.emplace(make_(index));
    } catch (...) {
      slot.end(false);
      throw;
    }
    slot.end(true);
  }

  const std::size_t size_;
  const std::function<T(std::size_t)> make_;
  const std::unique_ptr<Slot[]> slots_;
};

/// Threads: one thread; many may walk over one array.
template <class T>
class QVLazyArray<T>::Iterator {
public:
  using iterator_category = std::random_access_iterator_tag;
  using value_type = T;
  using difference_type = std::ptrdiff_t;
  using pointer = const T*;
  using reference = const T&;

  Iterator() = default;

  const T& operator*() const { return (*array_)[static_cast<std::size_t>(index_)]; }
  const T* operator->() const { return &**this; }
  const T& operator[](difference_type offset) const { return *(*this + offset); }

  Iterator& operator+=(difference_type offset) noexcept {
    index_ += offset;
    return *this;
  }
  Iterator& operator-=(difference_type offset) noexcept { return *this += -offset; }
  Iterator& operator++() noexcept { return *this += 1; }
  Iterator& operator--() noexcept { return *this += -1; }
  Iterator operator++(int) noexcept { return {array_, index_++}; }
  Iterator operator--(int) noexcept { return {array_, index_--}; }

  friend Iterator operator+(Iterator place, difference_type offset) noexcept { return place += offset; }
  friend Iterator operator+(difference_type offset, Iterator place) noexcept { return place += offset; }
  friend Iterator operator-(Iterator place, difference_type offset) noexcept { return place -= offset; }
  friend difference_type operator-(const Iterator& a, const Iterator& b) noexcept {
    return a.index_ - b.index_;
  }
  friend auto operator<=>(const Iterator&, const Iterator&) = default;

private:
  friend class QVLazyArray;
  Iterator(const QVLazyArray* array, difference_type index) noexcept : array_(array), index_(index) {}

  const QVLazyArray* array_ = nullptr;
  difference_type index_ = 0;
};

}  // namespace QVFoundation
