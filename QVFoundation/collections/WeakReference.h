#pragma once

#include <memory>

/// Internal: installed because other headers need it.
///
/// Threads: as for `std::weak_ptr`.
namespace QVFoundation::detail {

/// A weak pointer that can be compared without being locked: a lock could turn out to hold the last
/// reference, and then have the object destroyed in the middle of a search.
template <class T>
class WeakReference {
public:
  explicit WeakReference(const std::shared_ptr<T>& object) noexcept
      : object_(object), address_(object.get()) {}

  /// From now on it is as if the object had gone.
  void reset() noexcept {
    object_.reset();
    address_ = nullptr;
  }

  [[nodiscard]] std::shared_ptr<T> lock() const noexcept { return object_.lock(); }
  [[nodiscard]] bool isGone() const noexcept { return object_.expired(); }
  /// The object is one that lives, so another that has gone from the same address is not taken for it.
  [[nodiscard]] bool refersTo(const T& object) const noexcept { return address_ == &object && !isGone(); }

private:
  std::weak_ptr<T> object_;
  const T* address_;
};

}  // namespace QVFoundation::detail
