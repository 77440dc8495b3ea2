#include "QVFoundation/collections/QVIndexMap.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <sstream>

#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {

namespace {

/// What a position that nothing leads to has in a map that is being inverted.
constexpr std::size_t absent = std::numeric_limits<std::size_t>::max();

std::string entryText(std::size_t position, std::size_t entry) {
  return "The entry " + std::to_string(entry) + " at position " + std::to_string(position) +
         " of an index map ";
}

[[noreturn]] void refuse(const Array& numbers, std::size_t position, const char* wanted) {
  throw NSException(NSInvalidArgumentException, "Element " + std::to_string(position) +
                                                    " of the indices is " + numbers[position].description() +
                                                    ", not " + wanted);
}

/// The number as an unsigned one: negative ones wrap around, fractions are cut off.
std::optional<std::size_t> unsignedNumber(const Value& value) {
  const NSNumber* number = value.number();
  if (number == nullptr) return {};
  const NSNumber whole = number->isFloatingPoint() ? NSNumber(std::trunc(number->doubleValue())) : *number;
  if (const auto negative = whole.exactly<std::int64_t>()) return static_cast<std::size_t>(*negative);
  return whole.exactly<std::size_t>();
}

}  // namespace

void detail::checkEntries(std::span<const std::size_t> entries, std::size_t count) {
  const auto wrong =
      std::find_if(entries.begin(), entries.end(), [&](std::size_t entry) { return entry >= count; });
  if (wrong == entries.end()) return;
  throw NSException(NSRangeException, entryText(static_cast<std::size_t>(wrong - entries.begin()), *wrong) +
                                          "is beyond the " + std::to_string(count) + " elements");
}

QVIndexMap QVIndexMap::identityMapWithCount(std::size_t count) {
  std::vector<std::size_t> indices(count);
  std::iota(indices.begin(), indices.end(), std::size_t{0});
  return QVIndexMap(std::move(indices));
}

QVIndexMap QVIndexMap::mapWithIndexArray(std::span<const std::int64_t> indices) {
  return QVIndexMap(std::vector<std::size_t>(indices.begin(), indices.end()));
}

QVIndexMap QVIndexMap::mapWithIndexArray(const Array& indices) {
  std::vector<std::size_t> entries;
  entries.reserve(indices.size());
  for (const Value& index : indices) {
    const auto entry = unsignedNumber(index);
    if (!entry) refuse(indices, entries.size(), "a number of 64 bits");
    entries.push_back(*entry);
  }
  return QVIndexMap(std::move(entries));
}

QVIndexMap QVIndexMap::mapToMoveIndexes(const IndexSet& indexes, std::size_t toIndex, std::size_t count) {
  if (const auto last = indexes.last(); last && *last >= count) {
    throw NSException(NSRangeException, "Index " + std::to_string(*last) + " cannot be moved: there are " +
                                            std::to_string(count) + " elements");
  }
  std::vector<std::size_t> entries;
  entries.reserve(count);
  const auto appendStaying = [&](std::size_t index, std::size_t end) {
    for (const auto& range : indexes.ranges()) {
      while (index < std::min(range.first, end)) entries.push_back(index++);
      index = std::max(index, range.end());
    }
    while (index < end) entries.push_back(index++);
  };
  const std::size_t destination = std::min(toIndex, count);
  appendStaying(0, destination);
  entries.insert(entries.end(), indexes.begin(), indexes.end());
  appendStaying(destination, count);
  return QVIndexMap(std::move(entries));
}

QVIndexMap QVIndexMap::mapToMoveIndices(std::span<const std::int32_t> indices, std::size_t toIndex,
                                        std::size_t count) {
  // A negative one becomes far too large, which is then refused.
  const std::vector<std::size_t> unsignedIndices(indices.begin(), indices.end());
  return mapToMoveIndexes(IndexSet(unsignedIndices), toIndex, count);
}

QVIndexMap QVIndexMap::mapToMoveIndices(const Array& indices, std::size_t toIndex, std::size_t count) {
  std::vector<std::int32_t> numbers;
  numbers.reserve(indices.size());
  for (const Value& index : indices) {
    const auto number = index.as<std::int32_t>();
    if (!number) refuse(indices, numbers.size(), "a number of 32 bits");
    numbers.push_back(*number);
  }
  return mapToMoveIndices(numbers, toIndex, count);
}

void QVIndexMap::getIndices(std::span<std::size_t> buffer) const {
  if (buffer.size() < count()) {
    throw NSException(NSRangeException, "A buffer of " + std::to_string(buffer.size()) +
                                            " places cannot take the map's " + std::to_string(count()) +
                                            " entries");
  }
  std::copy(begin(), end(), buffer.begin());
}

void QVIndexMap::enumerateIndexesWithBlock(
    const std::function<void(std::size_t, std::size_t, bool&)>& block) const {
  bool stop = false;
  for (std::size_t position = 0; position < count() && !stop; ++position) {
    block(indices_[position], position, stop);
  }
}

QVIndexMap QVIndexMap::inverseMap() const {
  detail::checkEntries(indices_, count());
  std::vector<std::size_t> inverse(count(), absent);
  for (std::size_t position = 0; position < count(); ++position) {
    const std::size_t entry = indices_[position];
    if (inverse[entry] != absent) {
      throw NSException(NSRangeException, entryText(position, entry) + "stands at position " +
                                              std::to_string(inverse[entry]) +
                                              " as well, so it has no inverse");
    }
    inverse[entry] = position;
  }
  return QVIndexMap(std::move(inverse));
}

QVIndexMap QVIndexMap::reverseMap() const {
  return QVIndexMap(std::vector<std::size_t>(indices_.rbegin(), indices_.rend()));
}

QVIndexMap QVIndexMap::mapByApplyingMap(const QVIndexMap& other) const {
  detail::checkEntries(other.indices_, count());
  std::vector<std::size_t> entries(other.count());
  std::transform(other.begin(), other.end(), entries.begin(),
                 [this](std::size_t position) { return indices_[position]; });
  return QVIndexMap(std::move(entries));
}

std::vector<std::size_t> QVIndexMap::translateIndices(std::span<const std::uint32_t> positions) const {
  std::vector<std::size_t> entries;
  entries.reserve(positions.size());
  for (const std::uint32_t position : positions) {
    if (position < count()) entries.push_back(indices_[position]);
  }
  return entries;
}

Array QVIndexMap::translateIndices(const Array& positions) const {
  Array entries;
  for (const Value& number : positions) {
    const auto position = number.as<std::uint32_t>();
    if (position && *position < count()) entries.append(indices_[*position]);
  }
  return entries;
}

IndexSet QVIndexMap::indexes(const IndexSet& positions) const {
  if (const auto last = positions.last(); last && *last >= count()) {
    throw NSException(NSRangeException, "Position " + std::to_string(*last) + " is beyond the map's " +
                                            std::to_string(count()) + " entries");
  }
  std::vector<std::size_t> entries;
  entries.reserve(positions.size());
  for (const std::size_t position : positions) entries.push_back(indices_[position]);
  return IndexSet(entries);
}

std::unordered_map<std::size_t, std::size_t> QVIndexMap::inverseDictionary() const {
  std::unordered_map<std::size_t, std::size_t> positions;
  positions.reserve(count());
  for (std::size_t position = 0; position < count(); ++position) positions[indices_[position]] = position;
  return positions;
}

std::vector<std::int64_t> QVIndexMap::indexArray() const { return {indices_.begin(), indices_.end()}; }

std::string QVIndexMap::description() const {
  std::ostringstream text;
  text << "<QVIndexMap: " << static_cast<const void*>(this) << '>';
  for (const std::size_t entry : indices_) text << static_cast<std::int64_t>(entry) << ' ';
  return text.str();
}

}  // namespace QVFoundation
