#pragma once

/// Internal: installed because other headers need it.
///
/// Threads: whatever protects the objects protects the lists that they are on.
namespace QVFoundation::detail {

/// The neighbours of an object on a list.
template <class T>
struct ListLinks {
  T* previous = nullptr;
  T* next = nullptr;
};

/// A list of objects that carry their links themselves. It owns nothing and takes no memory; an object is on
/// it once at the most.
template <class T, ListLinks<T> T::* links>
class IntrusiveList {
public:
  [[nodiscard]] T* first() const noexcept { return first_; }
  [[nodiscard]] static T* after(const T& object) noexcept { return (object.*links).next; }

  void append(T& object) noexcept {
    object.*links = {last_, nullptr};
    (last_ != nullptr ? (last_->*links).next : first_) = &object;
    last_ = &object;
  }

  void remove(T& object) noexcept {
    const ListLinks<T> its = object.*links;
    (its.previous != nullptr ? (its.previous->*links).next : first_) = its.next;
    (its.next != nullptr ? (its.next->*links).previous : last_) = its.previous;
    object.*links = {};
  }

private:
  T* first_ = nullptr;
  T* last_ = nullptr;
};

}  // namespace QVFoundation::detail
