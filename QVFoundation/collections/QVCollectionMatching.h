#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <functional>
#include <iterator>
#include <ranges>
#include <span>
#include <string_view>
#include <type_traits>
#include <utility>

#include "QVFoundation/collections/Ranges.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/KeyPathMatcher.h"
#include "QVFoundation/platform/runtime/KeyPathReader.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/runtime/NSNotFound.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Value.h"

/// Finding the elements of a collection whose value under a key path matches a given one.
///
/// ```cpp
/// const std::shared_ptr<Person> anna = qv_objectMatchingValue(people, "Anna", "name");
/// const auto fromOslo = qv_arrayByMatchingValue(people, "Oslo", "address.city");
/// ```
///
/// The operations that look for the first match ask what the object has whether it equals the given value, so
/// that an object without a value never matches. Those that collect all ask the given value, and nothing
/// matches nothing. It makes a difference for objects whose `isEqual` is one-sided.
///
/// Threads: the objects are read on the calling thread. The collection must not change meanwhile.
/// Errors: a key that an object does not have raises `NSException` named `NSUndefinedKeyException`; only the
/// operations that give an index or a key take such an object for one that does not match.
namespace QVFoundation {

namespace detail {

/// What compares an object's value with the given one. It is not asked about an object without a value.
template <class Test>
concept MatchTest = std::predicate<Test&, const Value&, const Value&>;

[[nodiscard]] QV_EXPORT bool isUndefinedKey(const NSException& exception);

/// Has the processor fetch an object that is read soon: its first bytes, which tell its class, and its last
/// ones.
template <class T>
void fetchAhead(const T* object) noexcept {
  if (object == nullptr) return;
  __builtin_prefetch(object);
  __builtin_prefetch(reinterpret_cast<const std::byte*>(object) + (sizeof(T) - 1));
}

/// Elements that lie side by side, so that many can be tested at once.
template <class Range>
concept ObjectList = std::ranges::contiguous_range<Range> && std::ranges::sized_range<Range> &&
                     isObjectPointer<std::ranges::range_value_t<Range>>;

/// Calls `use` with each element that matches, until it answers false.
template <class Range, class Use>
void findMatches(Range& range, KeyPathMatcher& matcher, const Use& use) {
  for (const ElementOf<Range>& element : elementsOf(range)) {
    if (matcher(element) && !use(element)) return;
  }
}

template <ObjectList Range, class Use>
void findMatches(Range& range, KeyPathMatcher& matcher, const Use& use) {
  using Object = typename std::ranges::range_value_t<Range>::element_type;
  const NSObject* batch[64];
  const std::span elements(std::ranges::data(range), std::ranges::size(range));
  for (std::size_t first = 0; first < elements.size(); first += std::size(batch)) {
    const auto part = elements.subspan(first, std::min(std::size(batch), elements.size() - first));
    for (std::size_t i = 0; i < part.size(); ++i) {
      batch[i] = part[i].get();
      fetchAhead(part[i].get());
    }
    const std::span<const NSObject* const> objects(batch, part.size());
    for (std::size_t i = 0;
         (i += matcher.firstMatch(objects.subspan(i), std::is_final_v<Object>)) < part.size(); ++i) {
      if (!use(part[i])) return;
    }
  }
}

/// An empty map that orders or hashes its keys as another one does.
template <class Entries>
Entries emptyLike(const Entries& entries) {
  if constexpr (requires { Entries(entries.key_comp()); }) {
    return Entries(entries.key_comp());
  } else if constexpr (requires { Entries(0, entries.hash_function(), entries.key_eq()); }) {
    return Entries(0, entries.hash_function(), entries.key_eq());
  } else {
    return Entries();
  }
}

template <class Results, class Range>
Results collectMatching(Range& range, Value value, std::string_view keyPath) {
  KeyPathMatcher matcher(keyPath, std::move(value), Asking::givenValue);
  Results results;
  findMatches(range, matcher, [&results](const auto& element) {
    addTo(results, element);
    return true;
  });
  return results;
}

/// Asks a test whether an element matches.
template <MatchTest Test>
class TestMatch {
public:
  TestMatch(Value value, std::string_view keyPath, Test test)
      : valueOf_(keyPath), value_(std::move(value)), test_(std::move(test)) {}

  template <class Element>
  bool operator()(const Element& element) {
    const Value objectsValue = valueOf_(element);
    return !objectsValue.isNothing() && std::invoke(test_, objectsValue, value_);
  }

private:
  KeyPathReader valueOf_;
  const Value value_;
  Test test_;
};

template <class Match, class Element>
bool matchesUnlessKeyIsUndefined(Match& match, const Element& element) {
  try {
    return match(element);
  } catch (const NSException& exception) {
    if (!isUndefinedKey(exception)) throw;
    return false;
  }
}

template <class Range, class Match>
std::size_t indexOfMatch(Range& range, Match&& match) {
  std::size_t index = 0;
  for (const ElementOf<Range>& element : range) {
    if (matchesUnlessKeyIsUndefined(match, element)) return index;
    ++index;
  }
  return NSNotFound;
}

template <class Entries, class Match>
auto keyOfMatch(Entries& entries, Match&& match)
    -> Maybe<std::remove_cvref_t<decltype((*entries.begin()).first)>> {
  for (const auto& [key, value] : entries) {
    if (matchesUnlessKeyIsUndefined(match, value)) return key;
  }
  return {};
}

}  // namespace detail

/// The first object that matches. None is a null pointer, a value that is nothing, or an empty optional, as
/// the elements have it.
template <detail::Readable Range>
[[nodiscard]] auto qv_objectMatchingValue(Range&& range, Value value, std::string_view keyPath)
    -> detail::Maybe<detail::ElementOf<Range>> {
  KeyPathMatcher matcher(keyPath, std::move(value), Asking::objectsValue);
  detail::Maybe<detail::ElementOf<Range>> found = {};
  detail::findMatches(range, matcher, [&found](const auto& element) {
    found = element;
    return false;
  });
  return found;
}

/// The same. The test is taken for the sake of symmetry with the operations below, and is not used: equality
/// decides.
template <detail::Readable Range, detail::MatchTest Test>
[[nodiscard]] auto qv_objectMatchingValue(Range&& range, Value value, std::string_view keyPath,
                                          const Test& /*selector*/)
    -> detail::Maybe<detail::ElementOf<Range>> {
  return qv_objectMatchingValue(range, std::move(value), keyPath);
}

/// All objects that match, in their order.
template <detail::Readable Range>
[[nodiscard]] auto qv_arrayByMatchingValue(Range&& range, Value value, std::string_view keyPath) {
  using Results = detail::ArrayOf<detail::ElementOf<Range>>;
  return detail::collectMatching<Results>(range, std::move(value), keyPath);
}

/// The same as a set.
template <detail::Readable Range>
  requires detail::Hashable<detail::ElementOf<Range>>
[[nodiscard]] auto qv_setByMatchingValue(Range&& range, Value value, std::string_view keyPath) {
  using Results = detail::SetOf<detail::ElementOf<Range>>;
  return detail::collectMatching<Results>(range, std::move(value), keyPath);
}

/// The entries of a map whose values match.
template <detail::Map Entries>
  requires detail::Readable<Entries>
[[nodiscard]] std::remove_cvref_t<Entries> qv_dictionaryByMatchingValue(Entries&& entries, Value value,
                                                                        std::string_view keyPath) {
  KeyPathMatcher matcher(keyPath, std::move(value), Asking::givenValue);
  auto matching = detail::emptyLike(entries);
  for (const auto& [key, content] : entries) {
    if (!matcher(content)) continue;
    if constexpr (requires { matching.set(key, content); }) {
      matching.set(key, content);
    } else {
      matching.emplace(key, content);
    }
  }
  return matching;
}

/// The index of the first object that matches, else `NSNotFound`.
template <detail::Readable Range>
  requires(!detail::Map<Range>)
[[nodiscard]] std::size_t qv_indexOfObjectMatchingValue(Range&& range, Value value,
                                                        std::string_view keyPath) {
  return detail::indexOfMatch(range, KeyPathMatcher(keyPath, std::move(value), Asking::objectsValue));
}

/// The same, by a test that is called with what the object has and the given value.
template <detail::Readable Range, detail::MatchTest Test>
  requires(!detail::Map<Range>)
[[nodiscard]] std::size_t qv_indexOfObjectMatchingValue(Range&& range, Value value, std::string_view keyPath,
                                                        Test selector) {
  return detail::indexOfMatch(range, detail::TestMatch<Test>(std::move(value), keyPath, std::move(selector)));
}

/// The key of the first value that matches, in the order in which the map lists its keys. None is as above.
template <detail::Map Entries>
  requires detail::Readable<Entries>
[[nodiscard]] auto qv_keyOfObjectMatchingValue(Entries&& entries, Value value, std::string_view keyPath) {
  return detail::keyOfMatch(entries, KeyPathMatcher(keyPath, std::move(value), Asking::objectsValue));
}

/// The same, by a test that is called with what the object has and the given value.
template <detail::Map Entries, detail::MatchTest Test>
  requires detail::Readable<Entries>
[[nodiscard]] auto qv_keyOfObjectMatchingValue(Entries&& entries, Value value, std::string_view keyPath,
                                               Test selector) {
  return detail::keyOfMatch(entries, detail::TestMatch<Test>(std::move(value), keyPath, std::move(selector)));
}

}  // namespace QVFoundation
