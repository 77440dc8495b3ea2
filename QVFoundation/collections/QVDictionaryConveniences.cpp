#include "QVFoundation/collections/QVDictionaryConveniences.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/NSKeyValueChangeKeys.h"

namespace QVFoundation {

namespace {

using Limits = std::numeric_limits<std::int32_t>;

std::string_view withoutLeading(std::string_view characters, std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(characters), text.size()));
  return text;
}

std::string_view withoutLeadingBlanks(std::string_view text) { return withoutLeading(" \t\n\v\f\r", text); }

bool startsWithSign(std::string_view text) { return text.starts_with('-') || text.starts_with('+'); }

bool boolOfText(std::string_view text) {
  text = withoutLeadingBlanks(text);
  if (startsWithSign(text)) text.remove_prefix(1);
  text = withoutLeading("0", text);
  return !text.empty() && std::string_view("YyTt123456789").find(text.front()) != std::string_view::npos;
}

std::int32_t integerOfText(std::string_view text) {
  text = withoutLeadingBlanks(text);
  const bool isNegative = text.starts_with('-');
  if (startsWithSign(text)) text.remove_prefix(1);
  if (startsWithSign(text)) return 0;
  std::int64_t magnitude = 0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), magnitude);
  if (failure == std::errc::result_out_of_range) return isNegative ? Limits::min() : Limits::max();
  const std::int64_t number = isNegative ? -magnitude : magnitude;
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(number, Limits::min(), Limits::max()));
}

std::int32_t integerOfNumber(const NSNumber& number) {
  const double whole = std::trunc(number.doubleValue());  // doubles hold all that an integer of 32 bits can
  if (std::isnan(whole)) return 0;
  return static_cast<std::int32_t>(std::clamp<double>(whole, Limits::min(), Limits::max()));
}

Set membersOf(const Value& list) {
  Set members;
  for (const Value& element : list.array()) members.add(element);
  return members;
}

Set difference(const Set& members, const Set& others) {
  Set rest;
  for (const Value& member : members) {
    if (!others.contains(member)) rest.add(member);
  }
  return rest;
}

}  // namespace

Dictionary qv_inverseDictionary(const Dictionary& dictionary) {
  Dictionary inverse;
  for (const auto& [key, value] : dictionary) inverse.set(value, key);
  return inverse;
}

bool boolForKey(const Dictionary& dictionary, const Value& key) {
  const Value& value = dictionary[key];
  if (const NSNumber* number = value.number()) return number->boolValue();
  return value.text() != nullptr && boolOfText(*value.text());
}

std::int32_t integerForKey(const Dictionary& dictionary, const Value& key) {
  const Value& value = dictionary[key];
  if (const NSNumber* number = value.number()) return integerOfNumber(*number);
  return value.text() != nullptr ? integerOfText(*value.text()) : 0;
}

void qv_kvoChangeGetAddedObjects(const Dictionary& change, Set* added, Set* removed) {
  const Set present = membersOf(change[NSKeyValueChangeNewKey]);
  const Set past = membersOf(change[NSKeyValueChangeOldKey]);
  if (added != nullptr) *added = difference(present, past);
  if (removed != nullptr) *removed = difference(past, present);
}

void removeObject(Dictionary& dictionary, const Value& object) {
  std::vector<Value> keys;
  for (const auto& [key, value] : dictionary) {
    if (value == object) keys.push_back(key);
  }
  for (const Value& key : keys) dictionary.remove(key);
}

}  // namespace QVFoundation
