#include <algorithm>

#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Set.h"
#include "QVFoundation/platform/serialization/ValueWalk_p.h"

namespace QVFoundation::detail {

namespace {

/// The order in which sets print, so that equal sets are written alike.
Array sortedMembersOf(const Set& set) {
  Dictionary members;
  for (const Value& member : set) members.set(member, NSNull());
  Array sorted;
  for (const auto& [member, null] : members.sortedEntries()) sorted.append(member);
  return sorted;
}

std::string nameOfKind(const Value& value) {
  switch (value.kind()) {
    case ValueKind::nothing: return "nothing";
    case ValueKind::null: return "null";
    case ValueKind::data: return "data";
    case ValueKind::date: return "a date";
    case ValueKind::set: return "a set";
    case ValueKind::error: return "an error";
    case ValueKind::object: return "an object of the class " + value.object()->className();
    default: return "of a type of its own";
  }
}

void sendNumber(const NSNumber& number, StructureSink& sink) {
  if (number.isBoolean()) return sink.boolean(number.boolValue());
  if (number.isFloatingPoint()) return sink.real(number.doubleValue());
  if (const auto integer = number.exactly<std::int64_t>()) return sink.integer(*integer);
  sink.unsignedInteger(*number.exactly<std::uint64_t>());
}

void sendLeaf(const ValueWalk& walk, StructureSink& sink) {
  const Value& value = walk.value();
  switch (value.kind()) {
    case ValueKind::nothing:
    case ValueKind::null: return sink.null();
    case ValueKind::number: return sendNumber(*value.number(), sink);
    case ValueKind::text: return sink.text(*value.text());
    default: throw walk.kindError();
  }
}

}  // namespace

std::optional<ValueWalk::Event> ValueWalk::next() {
  if (value_ == nullptr) return visit(root_);
  if (levels_.empty()) return {};

  Level& level = levels_.back();
  if (level.index == level.size()) {
    const bool wasDictionary = level.isDictionary;
    levels_.pop_back();
    return wasDictionary ? Event::endDictionary : Event::endArray;
  }
  if (!level.isDictionary) return visit(level.elements[level.index++]);

  level.isAtKey = !level.isAtKey;
  if (level.isAtKey) return Event::key;
  return visit(level.entries[level.index++]->second);
}

ValueWalk::Event ValueWalk::visit(const Value& value) {
  value_ = &value;
  switch (value.kind()) {
    case ValueKind::dictionary: enterDictionary(value.dictionary()); return Event::beginDictionary;
    case ValueKind::array: enterArray(value.array()); return Event::beginArray;
    case ValueKind::set: enterArray(sortedMembersOf(value.set())); return Event::beginArray;
    default: return Event::leaf;
  }
}

void ValueWalk::enterDictionary(Dictionary dictionary) {
  Level level;
  level.isDictionary = true;
  level.entries.reserve(dictionary.size());
  for (const auto& entry : dictionary) {
    if (entry.first.text() != nullptr) {
      level.entries.push_back(&entry);
    } else if (purpose_ == Purpose::writing) {
      throw error("its key " + entry.first.description() + " is no text");
    }
  }
  std::ranges::sort(level.entries, {},
                    [](const auto* entry) { return std::string_view(*entry->first.text()); });
  level.dictionary = std::move(dictionary);
  levels_.push_back(std::move(level));
}

void ValueWalk::enterArray(Array elements) {
  Level level;
  level.elements = std::move(elements);
  levels_.push_back(std::move(level));
}

void ValueWalk::Level::appendPath(std::string& path) const {
  if (!isDictionary) {
    if (index > 0) path += '[' + std::to_string(index - 1) + ']';
  } else if (isAtKey || index > 0) {
    if (!path.empty()) path += '.';
    path += *entries[isAtKey ? index : index - 1]->first.text();
  }
}

std::string ValueWalk::keyPath() const {
  std::string path;
  for (const Level& level : levels_) level.appendPath(path);
  return path;
}

NSError ValueWalk::error(std::string_view problem) const {
  const bool isWriting = purpose_ == Purpose::writing;
  const std::string path = keyPath();
  std::string description = path.empty() ? "The value" : "The value at \"" + path + '"';
  description += isWriting ? " cannot be written: " : " cannot be read: ";
  description += problem;
  return {std::string(NSCocoaErrorDomain),
          isWriting ? NSPropertyListWriteInvalidError : NSPropertyListReadCorruptError,
          {{NSLocalizedDescriptionKey, description}}};
}

NSError ValueWalk::kindError() const { return error("it is " + nameOfKind(value())); }

void sendEvent(const ValueWalk& walk, ValueWalk::Event event, StructureSink& sink) {
  switch (event) {
    case ValueWalk::Event::beginDictionary: return sink.beginDictionary();
    case ValueWalk::Event::key: return sink.key(walk.key());
    case ValueWalk::Event::endDictionary: return sink.endDictionary();
    case ValueWalk::Event::beginArray: return sink.beginArray();
    case ValueWalk::Event::endArray: return sink.endArray();
    case ValueWalk::Event::leaf: return sendLeaf(walk, sink);
  }
}

}  // namespace QVFoundation::detail
