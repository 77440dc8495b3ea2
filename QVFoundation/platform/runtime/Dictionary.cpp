#include "QVFoundation/platform/runtime/Dictionary.h"

#include <algorithm>

#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/runtime/ValueNodes_p.h"

namespace QVFoundation {

namespace {

// Never destroyed, so that dictionaries serve to the end of the process.
const Value& nothing() {
  static const Value& value = *new Value;
  return value;
}

template <class Entries, class Key>
const Value& valueUnder(const Key& key, const Entries& entries) {
  const auto entry = entries.find(key);
  return entry != entries.end() ? entry->second : nothing();
}

// Orders by kind first: numbers and texts compared by what they print would not fit the numbers' own order.
bool keyPrecedes(const std::pair<Value, Value>& a, const std::pair<Value, Value>& b) {
  if (a.first.kind() != b.first.kind()) return a.first.kind() < b.first.kind();
  switch (a.first.kind()) {
    case ValueKind::number:
    case ValueKind::text:
    case ValueKind::data:
    case ValueKind::date: return a.first.compare(b.first) < 0;
    default: return a.first.description() < b.first.description();
  }
}

}  // namespace

Dictionary::Dictionary(std::initializer_list<std::pair<Value, Value>> entries) {
  for (const auto& [key, value] : entries) set(key, value);
}

const Value& Dictionary::operator[](const Value& key) const { return valueUnder(key, entries()); }

const Value& Dictionary::valueUnderText(std::string_view key) const { return valueUnder(key, entries()); }

std::vector<Value> Dictionary::keys() const {
  std::vector<Value> keys;
  keys.reserve(size());
  for (const auto& [key, value] : entries()) keys.push_back(key);
  return keys;
}

std::vector<std::pair<Value, Value>> Dictionary::sortedEntries() const {
  std::vector<std::pair<Value, Value>> sorted(begin(), end());
  std::sort(sorted.begin(), sorted.end(), keyPrecedes);
  return sorted;
}

void Dictionary::set(Value key, Value value) {
  if (key.isNothing())
    throw NSException(NSInvalidArgumentException, "A dictionary cannot have nothing as a key");
  if (value.isNothing()) {
    remove(key);
  } else {
    mutableEntries().insert_or_assign(std::move(key), std::move(value));
  }
}

void Dictionary::remove(const Value& key) {
  if (contains(key)) mutableEntries().erase(key);
}

const Dictionary::Entries& Dictionary::entries() const noexcept {
  static const Entries& none = *new Entries;
  return node_ ? node_->entries : none;
}

Dictionary::Entries& Dictionary::mutableEntries() {
  if (!node_) {
    node_ = detail::makeNode<detail::DictionaryNode>();
  } else if (!node_.isUnique()) {
    node_ = detail::makeNode<detail::DictionaryNode>(node_->entries);
  }
  return node_->entries;
}

bool operator==(const Dictionary& a, const Dictionary& b) {
  return a.node_ == b.node_ || Value(a) == Value(b);
}

Value::Value(const Dictionary& dictionary) noexcept : content_(dictionary.node_) {}

Dictionary Value::dictionary() const noexcept {
  const auto* node = std::get_if<detail::Ref<detail::DictionaryNode>>(&content_);
  return node != nullptr ? Dictionary(*node) : Dictionary();
}

Value Value::operator[](std::string_view key) const { return dictionary()[key]; }

}  // namespace QVFoundation
