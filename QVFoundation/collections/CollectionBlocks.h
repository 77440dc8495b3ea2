#pragma once

#include <concepts>
#include <cstddef>
#include <functional>
#include <type_traits>
#include <utility>

#include "QVFoundation/collections/Ranges.h"

/// Internal: installed because other headers need it.
///
/// Blocks called with each element of a collection.
///
/// Threads: a block runs on the calling thread.
namespace QVFoundation::detail {

template <class Block, class Element>
concept FullBlock = std::invocable<Block&, const Element&, std::size_t, bool&>;
template <class Block, class Element>
concept IndexedBlock = std::invocable<Block&, const Element&, std::size_t>;

/// What takes an element, its index and the flag that stops the walk, or the first one or two of them.
template <class Block, class Range>
concept BlockFor = FullBlock<Block, ElementOf<Range>> || IndexedBlock<Block, ElementOf<Range>> ||
                   std::invocable<Block&, const ElementOf<Range>&>;

template <class Block, class Element>
decltype(auto) callBlock(Block& block, const Element& element, std::size_t index, bool& stop) {
  if constexpr (FullBlock<Block, Element>) {
    return std::invoke(block, element, index, stop);
  } else if constexpr (IndexedBlock<Block, Element>) {
    return std::invoke(block, element, index);
  } else {
    return std::invoke(block, element);
  }
}

template <class Block, class Range>
using BlockResult = std::remove_cvref_t<decltype(callBlock(
    std::declval<Block&>(), std::declval<const ElementOf<Range>&>(), std::size_t{}, std::declval<bool&>()))>;

/// What answers true or false.
template <class Block, class Range>
concept TestFor = BlockFor<Block, Range> && std::convertible_to<BlockResult<Block, Range>, bool>;

/// Calls a block with each element, and hands what it gives to `use`, until it sets the flag.
template <class Range, class Block, class Use>
void callWithEach(Range& range, Block& block, const Use& use) {
  std::size_t index = 0;
  bool stop = false;
  for (const ElementOf<Range>& element : elementsOf(range)) {
    use(element, callBlock(block, element, index++, stop));
    if (stop) return;
  }
}

}  // namespace QVFoundation::detail
