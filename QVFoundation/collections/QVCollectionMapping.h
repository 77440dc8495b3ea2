#pragma once

#include <optional>
#include <ranges>
#include <string_view>
#include <type_traits>
#include <utility>

#include "QVFoundation/collections/CollectionBlocks.h"
#include "QVFoundation/collections/Ranges.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/KeyPathReader.h"

/// Making something else of each element of a collection.
///
/// ```cpp
/// const std::vector<std::string> titles = qv_arrayByApplyingBlockToObjects(
///     tracks, [](const auto& track) { return track->title(); });  // an optional, absent for some
/// const Dictionary years = qv_dictionaryWithKeyPathForKeys(albums, "title", "year");
/// ```
///
/// A block takes an element, its index (which counts every element visited) and a `bool&` that ends the walk
/// after this element when it is set to true; it may leave out the last, or the last two. What it gives may
/// be absent, and is then left out: an empty optional, a null pointer, a value that is nothing.
///
/// Threads: a block runs on the calling thread. The collection must not change meanwhile.
/// Errors: what a block throws goes through. A key that an element does not have raises
/// `NSUndefinedKeyException`.
namespace QVFoundation {

namespace detail {

/// What a block makes: the content of an optional, else what it gives.
template <class Result>
struct MadeBy {
  using type = Result;
};
template <class T>
struct MadeBy<std::optional<T>> {
  using type = T;
};
template <class Block, class Range>
using MadeOf = typename MadeBy<BlockResult<Block, Range>>::type;

/// A block that gives something.
template <class Block, class Range>
concept MakerFor = BlockFor<Block, Range> && !std::is_void_v<BlockResult<Block, Range>>;

template <class Results, class Range, class Block>
Results collectResults(Range& range, Block& block) {
  Results results;
  callWithEach(range, block, [&results](const auto& /*element*/, auto&& result) {
    if (isAbsent(result)) return;
    if constexpr (isStdOptional<std::remove_cvref_t<decltype(result)>>) {
      addTo(results, *std::forward<decltype(result)>(result));
    } else {
      addTo(results, std::forward<decltype(result)>(result));
    }
  });
  return results;
}

}  // namespace detail

/// What the block makes of the elements, in their order.
template <std::ranges::input_range Range, detail::MakerFor<Range> Block>
[[nodiscard]] auto qv_arrayByApplyingBlockToObjects(Range&& range, Block block) {
  return detail::collectResults<detail::ArrayOf<detail::MadeOf<Block, Range>>>(range, block);
}

/// The same as a set.
template <std::ranges::input_range Range, detail::MakerFor<Range> Block>
  requires detail::Hashable<detail::MadeOf<Block, Range>>
[[nodiscard]] auto qv_setByApplyingBlockToObjects(Range&& range, Block block) {
  return detail::collectResults<detail::SetOf<detail::MadeOf<Block, Range>>>(range, block);
}

/// What the elements have under one key path, by what they have under another. An element without a key is
/// left out, one without a value has `NSNull`; of elements with equal keys the last one counts.
template <detail::Readable Range>
[[nodiscard]] Dictionary qv_dictionaryWithKeyPathForKeys(Range&& range, std::string_view keyPathForKeys,
                                                         std::string_view keyPathForValues) {
  KeyPathReader keyOf(keyPathForKeys);
  KeyPathReader valueOf(keyPathForValues);
  Dictionary dictionary;
  for (const detail::ElementOf<Range>& element : detail::elementsOf(range)) {
    Value key = keyOf(element);
    if (key.isNothing()) continue;
    Value value = valueOf(element);
    dictionary.set(std::move(key), value.isNothing() ? Value(NSNull()) : std::move(value));
  }
  return dictionary;
}

}  // namespace QVFoundation
