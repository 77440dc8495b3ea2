#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/Value.h"
#include "QVFoundation/platform/serialization/StructureSink.h"

namespace QVFoundation::detail {

/// Walks over a value and all that is nested in it, in order and without recursion, for those who write it
/// down or read something out of it.
///
/// ```cpp
/// ValueWalk walk(value);
/// while (const auto event = walk.next()) { … }
/// ```
///
/// Threads: one thread.
/// Errors: a key that is no text is the `error` of its dictionary for who writes, and passed over for who
/// reads.
class ValueWalk {
public:
  enum class Event { beginDictionary, key, endDictionary, beginArray, endArray, leaf };

  /// What a fault keeps from happening.
  enum class Purpose { writing, reading };

  /// The value must outlive the walk.
  explicit ValueWalk(const Value& root, Purpose purpose = Purpose::writing)
      : root_(root), purpose_(purpose) {}

  /// What comes next; nothing when all is done. Keys come in order. A set is walked like an array.
  std::optional<Event> next();

  /// The leaf, or the container that begins.
  [[nodiscard]] const Value& value() const noexcept { return *value_; }
  /// The key just met.
  [[nodiscard]] const std::string& key() const noexcept { return *levels_.back().current().first.text(); }
  /// How many containers are open, one that just begins included.
  [[nodiscard]] std::size_t depth() const noexcept { return levels_.size(); }

  /// An error that names the place, such as `The value at "people[3].born" cannot be written: …`:
  /// `NSPropertyListWriteInvalidError`, or `NSPropertyListReadCorruptError` of who reads.
  [[nodiscard]] NSError error(std::string_view problem) const;
  /// The same for a value of a kind that has no form at all: "it is a date".
  [[nodiscard]] NSError kindError() const;

private:
  /// A container that has begun and not ended.
  struct Level {
    bool isDictionary = false;
    bool isAtKey = false;
    std::size_t index = 0;  // of the next one to visit
    Array elements;
    Dictionary dictionary;  // keeps alive what the entries point to
    std::vector<const Dictionary::value_type*> entries;

    [[nodiscard]] std::size_t size() const noexcept {
      return isDictionary ? entries.size() : elements.size();
    }
    [[nodiscard]] const Dictionary::value_type& current() const noexcept { return *entries[index]; }
    void appendPath(std::string& path) const;
  };

  Event visit(const Value& value);
  void enterDictionary(Dictionary dictionary);
  void enterArray(Array elements);
  [[nodiscard]] std::string keyPath() const;

  const Value& root_;
  const Purpose purpose_;
  const Value* value_ = nullptr;
  std::vector<Level> levels_;
};

/// Passes what a walk met on to a sink.
void sendEvent(const ValueWalk& walk, ValueWalk::Event event, StructureSink& sink);

}  // namespace QVFoundation::detail
