#include <algorithm>
#include <bit>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <unordered_map>
#include <variant>
#include <vector>

#include "QVFoundation/platform/serialization/PropertyListBinary_p.h"
#include "QVFoundation/platform/serialization/PropertyListDate_p.h"
#include "QVFoundation/platform/serialization/PropertyListForms_p.h"
#include "QVFoundation/platform/serialization/ValueWalk_p.h"
#include "QVFoundation/platform/text/Unicode.h"

namespace QVFoundation::detail {

namespace {

using binary::Type;

/// A container refers to what it holds by index.
struct Container {
  bool isDictionary;
  std::vector<std::uint64_t> keys;
  std::vector<std::uint64_t> contents;
};

/// A text, another leaf, or a container. The first two point into the value that is written.
using Object = std::variant<std::string_view, const Value*, Container>;

/// Lists all objects in a value, each text once.
class Collector {
public:
  explicit Collector(const Value& value) : walk_(value) {}

  std::vector<Object> collect() {
    while (const auto event = walk_.next()) take(*event);
    return std::move(objects_);
  }

private:
  using Event = ValueWalk::Event;

  void take(Event event) {
    switch (event) {
      case Event::beginDictionary:
      case Event::beginArray: return begin(event == Event::beginDictionary);
      case Event::endDictionary:
      case Event::endArray: return open_.pop_back();
      case Event::key: return referFromKey(indexOfText(walk_.key()));
      case Event::leaf:
        return refer(walk_.value().text() != nullptr ? indexOfText(*walk_.value().text()) : indexOfLeaf());
    }
  }

  void begin(bool isDictionary) {
    if (walk_.value().kind() == ValueKind::set) throw walk_.kindError();
    if (walk_.depth() > deepestPropertyListLevel) {
      throw walk_.error("it is nested deeper than " + std::to_string(deepestPropertyListLevel) + " levels");
    }
    const std::size_t index = objects_.size();
    refer(index);
    objects_.emplace_back(Container{isDictionary, {}, {}});
    open_.push_back(index);
  }

  Container& innermost() { return std::get<Container>(objects_[open_.back()]); }

  void referFromKey(std::uint64_t index) { innermost().keys.push_back(index); }

  void refer(std::uint64_t index) {
    if (!open_.empty()) innermost().contents.push_back(index);
  }

  std::uint64_t indexOfText(std::string_view text) {
    const auto [entry, isNew] = indicesOfTexts_.try_emplace(text, objects_.size());
    if (isNew) {
      if (!isValidUTF8(text)) throw walk_.error("it is not valid UTF-8");
      objects_.emplace_back(text);
    }
    return entry->second;
  }

  std::uint64_t indexOfLeaf() {
    const ValueKind kind = walk_.value().kind();
    if (kind != ValueKind::number && kind != ValueKind::date && kind != ValueKind::data)
      throw walk_.kindError();
    objects_.emplace_back(&walk_.value());
    return objects_.size() - 1;
  }

  ValueWalk walk_;
  std::vector<Object> objects_;
  std::vector<std::size_t> open_;  // the containers around the place where the walk stands
  std::unordered_map<std::string_view, std::uint64_t> indicesOfTexts_;
};

/// How many bytes hold a number: 1, 2, 4 or 8.
unsigned widthOf(std::uint64_t number) {
  if (number <= 0xFF) return 1;
  if (number <= 0xFFFF) return 2;
  return number <= 0xFFFFFFFF ? 4 : 8;
}

class Encoder {
public:
  explicit Encoder(std::vector<Object> objects)
      : objects_(std::move(objects)), referenceWidth_(widthOf(objects_.size())) {}

  NSData encode() {
    appendBytes(std::as_bytes(std::span(binary::magic)));
    std::vector<std::uint64_t> offsets;
    offsets.reserve(objects_.size());
    for (const Object& object : objects_) {
      offsets.push_back(out_.size());
      std::visit([this](const auto& content) { append(content); }, object);
    }
    appendTable(offsets);
    return std::move(out_);
  }

private:
  void append(std::string_view text) {
    if (std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; })) {
      appendMarker(Type::asciiText, text.size());
      return appendBytes(std::as_bytes(std::span(text)));
    }
    appendMarker(Type::utf16Text, utf16UnitCount(text));
    while (!text.empty()) {
      const DecodedCodePoint next = decodeUTF8(text);
      appendAsUTF16(next.codePoint);
      text.remove_prefix(next.length);
    }
  }

  void appendAsUTF16(char32_t codePoint) {
    if (codePoint > 0xFFFF) {
      appendNumber(0xD800 + ((codePoint - 0x10000) >> 10), 2);
      appendNumber(0xDC00 + ((codePoint - 0x10000) & 0x3FF), 2);
    } else {
      appendNumber(codePoint, 2);
    }
  }

  void append(const Value* leaf) {
    if (const NSData* data = leaf->data()) {
      appendMarker(Type::data, data->size());
      appendBytes(*data);
    } else if (const NSDate* date = leaf->date()) {
      appendNumber(binary::dateMarker, 1);
      appendNumber(std::bit_cast<std::uint64_t>(secondsSince2001(*date)), 8);
    } else {
      append(*leaf->number());
    }
  }

  void append(const NSNumber& number) {
    if (number.isBoolean()) {
      appendNumber(number.boolValue() ? binary::trueMarker : binary::falseMarker, 1);
    } else if (number.type() == NSNumber::Type::float32) {
      appendMarker(Type::real, 2);
      appendNumber(std::bit_cast<std::uint32_t>(static_cast<float>(number.doubleValue())), 4);
    } else if (number.isFloatingPoint()) {
      appendMarker(Type::real, 3);
      appendNumber(std::bit_cast<std::uint64_t>(number.doubleValue()), 8);
    } else if (const auto integer = number.exactly<std::int64_t>()) {
      appendInteger(*integer);
    } else {
      // Eight bytes are signed, so what lies beyond takes sixteen.
      appendMarker(Type::integer, 4);
      appendNumber(0, 8);
      appendNumber(*number.exactly<std::uint64_t>(), 8);
    }
  }

  // Fewer than eight bytes are unsigned.
  void appendInteger(std::int64_t number) {
    const unsigned width = number < 0 ? 8 : widthOf(static_cast<std::uint64_t>(number));
    appendMarker(Type::integer, static_cast<std::size_t>(std::countr_zero(width)));
    appendNumber(static_cast<std::uint64_t>(number), width);
  }

  void append(const Container& container) {
    appendMarker(container.isDictionary ? Type::dictionary : Type::array, container.contents.size());
    for (const std::uint64_t index : container.keys) appendNumber(index, referenceWidth_);
    for (const std::uint64_t index : container.contents) appendNumber(index, referenceWidth_);
  }

  void appendTable(const std::vector<std::uint64_t>& offsets) {
    const std::uint64_t tableOffset = out_.size();
    const unsigned offsetWidth = widthOf(tableOffset);
    for (const std::uint64_t offset : offsets) appendNumber(offset, offsetWidth);
    out_.resize(out_.size() + binary::offsetOfWidths);
    appendNumber(offsetWidth, 1);
    appendNumber(referenceWidth_, 1);
    appendNumber(offsets.size(), 8);
    appendNumber(0, 8);  // The root is always the first object.
    appendNumber(tableOffset, 8);
  }

  void appendMarker(Type type, std::size_t length) {
    const unsigned high = static_cast<unsigned>(type) << 4;
    if (length < binary::lengthFollows) return appendNumber(high | length, 1);
    appendNumber(high | binary::lengthFollows, 1);
    appendInteger(static_cast<std::int64_t>(length));
  }

  void appendNumber(std::uint64_t number, unsigned width) {
    while (width-- > 0) out_.push_back(static_cast<std::byte>(number >> (8 * width)));
  }

  void appendBytes(std::span<const std::byte> bytes) { out_.insert(out_.end(), bytes.begin(), bytes.end()); }

  std::vector<Object> objects_;
  unsigned referenceWidth_;
  NSData out_;
};

}  // namespace

NSData writeBinaryPropertyList(const Value& value) { return Encoder(Collector(value).collect()).encode(); }

}  // namespace QVFoundation::detail
