#pragma once

#include <cstddef>
#include <iterator>
#include <memory>
#include <type_traits>

/// Internal: installed because other headers need it.
///
/// Threads: as for the collection that is walked over.
namespace QVFoundation::detail {

/// Walks over the places of a weak collection whose objects are left, and keeps the object of the one that it
/// stands at. `Place` tells of a place where its object is (`object`), and what a loop is given (`value`).
template <class Position, class Place>
class LivingIterator {
  using Object = decltype(Place::object(std::declval<Position>()).lock());

public:
  using reference = decltype(Place::value(std::declval<Position>(), std::declval<const Object&>()));
  using value_type = std::remove_cvref_t<reference>;
  using difference_type = std::ptrdiff_t;
  using iterator_concept = std::input_iterator_tag;

  LivingIterator() = default;
  LivingIterator(Position position, Position end) : position_(position), end_(end) { findLiving(); }

  reference operator*() const { return Place::value(position_, object_); }
  LivingIterator& operator++() {
    ++position_;
    findLiving();
    return *this;
  }
  void operator++(int) { ++*this; }
  friend bool operator==(const LivingIterator& iterator, std::default_sentinel_t /*end*/) {
    return !iterator.object_;
  }

private:
  void findLiving() {
    object_.reset();
    while (position_ != end_ && !(object_ = Place::object(position_).lock())) ++position_;
  }

  Position position_;
  Position end_;
  Object object_;  // null at the end
};

}  // namespace QVFoundation::detail
