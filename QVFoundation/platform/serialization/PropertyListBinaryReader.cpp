#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/serialization/PropertyListBinaryLayout_p.h"
#include "QVFoundation/platform/serialization/PropertyListDate_p.h"
#include "QVFoundation/platform/serialization/PropertyListForms_p.h"
#include "QVFoundation/platform/text/Unicode.h"

namespace QVFoundation::detail {

namespace {

using binary::bigEndian;
using binary::Layout;
using binary::Type;

/// Turns the objects that hold no others into values.
class LeafReader {
public:
  explicit LeafReader(const Layout& layout) : layout_(layout) {}

  [[nodiscard]] Value read(const Layout::Object& object) const {
    switch (object.type) {
      case Type::singleton: return readBoolean(object);
      case Type::integer: return readInteger(object);
      case Type::real: return readReal(object);
      case Type::date: return readDate(object);
      case Type::data: return NSData(object.content.begin(), object.content.end());
      case Type::uid: return Dictionary{{"CF$UID", readInteger(object)}};
      default: return readText(object);
    }
  }

  [[nodiscard]] std::string readText(const Layout::Object& object) const {
    if (object.type == Type::utf16Text) return stringFromUTF16(object.content, std::endian::big);
    if (object.type != Type::asciiText) layout_.fail(object.index, "a text is expected here");
    std::string text(reinterpret_cast<const char*>(object.content.data()), object.content.size());
    if (!isValidUTF8(text)) layout_.fail(object.index, "its text is not ASCII");
    return text;
  }

private:
  [[nodiscard]] Value readBoolean(const Layout::Object& object) const {
    if (object.detail == binary::trueMarker) return true;
    if (object.detail == binary::falseMarker) return false;
    layout_.fail(object.index, "its type is unknown");
  }

  // Up to four bytes are unsigned, eight are signed; sixteen hold what is larger.
  [[nodiscard]] Value readInteger(const Layout::Object& object) const {
    constexpr std::size_t longest = 8;
    const auto low = object.content.last(std::min(object.content.size(), longest));
    const std::uint64_t number = bigEndian(low);
    const auto asSigned = static_cast<std::int64_t>(number);
    if (object.content.size() <= longest) return asSigned;

    const std::uint64_t high = bigEndian(object.content.first(object.content.size() - longest));
    if (high == 0) return asSigned >= 0 ? Value(asSigned) : Value(number);
    if (high == ~std::uint64_t{0} && asSigned < 0) return asSigned;
    layout_.fail(object.index, "an integer has more than 64 bits");
  }

  [[nodiscard]] Value readReal(const Layout::Object& object) const {
    const std::uint64_t bits =
        bigEndian(object.content.first(std::min<std::size_t>(object.content.size(), 8)));
    if (object.content.size() == sizeof(float)) return std::bit_cast<float>(static_cast<std::uint32_t>(bits));
    if (object.content.size() == sizeof(double)) return std::bit_cast<double>(bits);
    layout_.fail(object.index, "a real number has an impossible length");
  }

  [[nodiscard]] Value readDate(const Layout::Object& object) const {
    const auto seconds = readReal(object).as<double>();
    if (std::isnan(*seconds)) layout_.fail(object.index, "a date is no number");
    return dateFromSecondsSince2001(*seconds);
  }

  const Layout& layout_;
};

/// Builds containers from the root down, without recursion.
///
/// Objects may be shared, and what is small in the file may stand for a tree that nobody could ever walk
/// over: forty arrays, each with the next one twice, are 2^40 values. So each container is built once, and
/// the reader keeps account of what the whole tree would take if nothing were shared, and stops where that is
/// out of all proportion to the file.
class BinaryReader {
public:
  explicit BinaryReader(std::span<const std::byte> data)
      : layout_(data), leaves_(layout_), credit_(freeCredit + creditPerByte * data.size()) {}

  Value read() {
    add(layout_.root());
    while (!open_.empty()) {
      OpenContainer& innermost = open_.back();
      innermost.next == innermost.object.length ? endContainer() : addNext(innermost);
    }
    return std::move(root_);
  }

private:
  // In bytes of memory, roughly. No file without shared objects can use it up.
  static constexpr std::uint64_t costOfValue = 64;
  static constexpr std::uint64_t creditPerByte = costOfValue;
  static constexpr std::uint64_t freeCredit = std::uint64_t{64} << 20;

  struct OpenContainer {
    Layout::Object object;
    std::uint64_t creditBefore;
    std::size_t next = 0;    // the element or entry to add
    std::size_t height = 1;  // in levels, as far as it is built
    std::vector<Value> elements{};
    Dictionary entries{};
    std::string key{};  // of the value to come

    [[nodiscard]] bool isDictionary() const noexcept { return object.type == Type::dictionary; }
  };

  struct BuiltContainer {
    Value value;
    std::uint64_t cost = 0;
    std::size_t height = 0;  // 0 while it is open
  };

  void addNext(OpenContainer& container) {
    std::size_t position = container.next++;
    if (container.isDictionary()) {
      const Layout::Object key = layout_.object(layout_.reference(container.object, position));
      spend(key, key.content.size());
      container.key = leaves_.readText(key);
      position += container.object.length;
    }
    add(layout_.reference(container.object, position));
  }

  void add(std::uint64_t index) {
    const Layout::Object object = layout_.object(index);
    if (object.type == Type::array || object.type == Type::dictionary) return addContainer(object);
    spend(object, object.content.size());
    deliver(leaves_.read(object), 0);
  }

  void addContainer(const Layout::Object& object) {
    const auto [entry, isNew] = built_.try_emplace(object.index);
    const BuiltContainer& built = entry->second;
    if (!isNew && built.height == 0) layout_.fail(object.index, "it contains itself");
    if (open_.size() + std::max<std::size_t>(built.height, 1) > deepestPropertyListLevel) {
      layout_.fail(object.index,
                   "values are nested deeper than " + std::to_string(deepestPropertyListLevel) + " levels");
    }
    if (isNew) return beginContainer(object);
    spend(object, built.cost);
    deliver(built.value, built.height);
  }

  void beginContainer(const Layout::Object& object) {
    OpenContainer container{object, credit_};
    spend(object, costOfValue * (1 + object.length));
    if (!container.isDictionary()) container.elements.reserve(object.length);
    open_.push_back(std::move(container));
  }

  void endContainer() {
    OpenContainer container = std::move(open_.back());
    open_.pop_back();
    const Value value =
        container.isDictionary() ? Value(container.entries) : Value(Array(std::move(container.elements)));
    built_[container.object.index] = {value, container.creditBefore - credit_, container.height};
    deliver(value, container.height);
  }

  void deliver(Value value, std::size_t height) {
    if (open_.empty()) {
      root_ = std::move(value);
      return;
    }
    OpenContainer& parent = open_.back();
    parent.height = std::max(parent.height, height + 1);
    if (parent.isDictionary()) {
      parent.entries.set(std::move(parent.key), std::move(value));
    } else {
      parent.elements.push_back(std::move(value));
    }
  }

  void spend(const Layout::Object& object, std::uint64_t cost) {
    if (cost > credit_) layout_.fail(object.index, "shared objects make the whole too large");
    credit_ -= cost;
  }

  Layout layout_;
  LeafReader leaves_;
  std::uint64_t credit_;
  std::vector<OpenContainer> open_;
  std::map<std::uint64_t, BuiltContainer> built_;
  Value root_;
};

}  // namespace

bool isBinaryPropertyList(std::span<const std::byte> data) noexcept {
  const std::string_view start(reinterpret_cast<const char*>(data.data()), data.size());
  return start.starts_with(binary::magic.substr(0, binary::magic.size() - 1));
}

Value readBinaryPropertyList(std::span<const std::byte> data) { return BinaryReader(data).read(); }

}  // namespace QVFoundation::detail
