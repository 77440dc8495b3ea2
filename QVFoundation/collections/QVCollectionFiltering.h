#pragma once

#include <utility>

#include "QVFoundation/collections/CollectionBlocks.h"
#include "QVFoundation/collections/Ranges.h"

/// The elements of a collection that pass a test. A test takes what a block of `QVCollectionMapping.h` takes,
/// and answers true or false; an element that passes counts even when the test stops the walk there.
///
/// ```cpp
/// const auto marked = qv_filteredArrayByPassingTest(rows, [](const auto& row) { return row->isMarked(); });
/// ```
///
/// Threads: a test runs on the calling thread. The collection must not change meanwhile.
/// Errors: what a test throws goes through.
namespace QVFoundation {

namespace detail {

template <class Results, class Range, class Test>
Results collectPassing(Range& range, Test& test) {
  Results results;
  callWithEach(range, test, [&results](const auto& element, bool passes) {
    if (passes) addTo(results, element);
  });
  return results;
}

}  // namespace detail

/// Those that pass, in their order.
template <detail::Copyable Range, detail::TestFor<Range> Test>
[[nodiscard]] auto qv_filteredArrayByPassingTest(Range&& range, Test test) {
  return detail::collectPassing<detail::ArrayOf<detail::ElementOf<Range>>>(range, test);
}

/// The same as a set.
template <detail::Copyable Range, detail::TestFor<Range> Test>
  requires detail::Hashable<detail::ElementOf<Range>>
[[nodiscard]] auto qv_filteredSetByPassingTest(Range&& range, Test test) {
  return detail::collectPassing<detail::SetOf<detail::ElementOf<Range>>>(range, test);
}

/// The first that passes. None is a null pointer, a value that is nothing, or an empty optional, as the
/// elements have it.
template <detail::Copyable Range, detail::TestFor<Range> Test>
[[nodiscard]] auto qv_objectPassingTest(Range&& range, Test test) -> detail::Maybe<detail::ElementOf<Range>> {
  std::size_t index = 0;
  bool stop = false;
  for (const detail::ElementOf<Range>& element : detail::elementsOf(range)) {
    if (detail::callBlock(test, element, index++, stop)) return element;
    if (stop) break;
  }
  return {};
}

}  // namespace QVFoundation
