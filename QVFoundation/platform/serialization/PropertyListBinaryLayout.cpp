#include <string>

#include "QVFoundation/platform/serialization/PropertyListBinaryLayout_p.h"
#include "QVFoundation/platform/serialization/SyntaxError_p.h"

namespace QVFoundation::detail::binary {

namespace {

[[noreturn]] void failWith(const std::string& problem) {
  throw corruptError("Invalid binary property list: " + problem);
}

}  // namespace

std::uint64_t bigEndian(std::span<const std::byte> bytes) noexcept {
  std::uint64_t number = 0;
  for (const std::byte byte : bytes) number = number << 8 | std::to_integer<std::uint64_t>(byte);
  return number;
}

Layout::Layout(std::span<const std::byte> file) : file_(file) {
  if (file.size() < magic.size() + trailerLength) failWith("the file is too short");
  const auto trailer = file.last(trailerLength);
  offsetWidth_ = std::to_integer<std::size_t>(trailer[offsetOfWidths]);
  referenceWidth_ = std::to_integer<std::size_t>(trailer[offsetOfWidths + 1]);
  count_ = bigEndian(trailer.subspan(offsetOfCounts, 8));
  root_ = bigEndian(trailer.subspan(offsetOfCounts + 8, 8));
  tableOffset_ = bigEndian(trailer.subspan(offsetOfCounts + 16, 8));

  const std::size_t endOfTable = file.size() - trailerLength;
  const auto isWidth = [](std::size_t width) { return width >= 1 && width <= 8; };
  if (!isWidth(offsetWidth_) || !isWidth(referenceWidth_)) failWith("the trailer gives an impossible width");
  const bool beginsInFile = tableOffset_ >= magic.size() && tableOffset_ <= endOfTable;
  if (!beginsInFile || count_ > (endOfTable - tableOffset_) / offsetWidth_) {
    failWith("the offset table does not lie within the file");
  }
  if (root_ >= count_) failWith("the root is none of the objects");
}

Layout::Object Layout::object(std::uint64_t index) const {
  const std::uint64_t offset = offsetOf(index);
  if (offset < magic.size() || offset >= tableOffset_) fail(index, "it does not lie among the objects");
  auto rest = file_.subspan(offset, tableOffset_ - offset);
  const auto marker = std::to_integer<unsigned>(rest.front());
  rest = rest.subspan(1);

  const auto type = static_cast<Type>(marker >> 4);
  const unsigned detail = marker & 0xF;
  const std::size_t unit = unitLengthOf(type);
  const std::uint64_t length =
      unit > 0 ? takeLength(index, detail, rest) : lengthByDetail(index, type, detail);
  const std::size_t bytesOfUnit = unit > 0 ? unit : 1;
  if (length > rest.size() / bytesOfUnit) fail(index, "it is longer than the file has room for");
  return {index, type, detail, length, rest.first(length * bytesOfUnit)};
}

std::uint64_t Layout::reference(const Object& container, std::size_t position) const {
  const std::uint64_t index =
      bigEndian(container.content.subspan(position * referenceWidth_, referenceWidth_));
  if (index >= count_) fail(container.index, "it refers to an object that does not exist");
  return index;
}

void Layout::fail(std::uint64_t index, std::string_view problem) const {
  failWith("object " + std::to_string(index) + " at byte " + std::to_string(offsetOf(index)) + ": " +
           std::string(problem));
}

std::uint64_t Layout::offsetOf(std::uint64_t index) const noexcept {
  return bigEndian(file_.subspan(tableOffset_ + index * offsetWidth_, offsetWidth_));
}

/// How many bytes a type's unit of length stands for; 0 for the types whose length is no count.
std::size_t Layout::unitLengthOf(Type type) const noexcept {
  switch (type) {
    case Type::data:
    case Type::asciiText: return 1;
    case Type::utf16Text: return 2;
    case Type::array: return referenceWidth_;
    case Type::dictionary: return 2 * referenceWidth_;
    default: return 0;
  }
}

std::uint64_t Layout::takeLength(std::uint64_t index, unsigned detail,
                                 std::span<const std::byte>& rest) const {
  if (detail != lengthFollows) return detail;
  const unsigned marker = rest.empty() ? 0 : std::to_integer<unsigned>(rest.front());
  const std::size_t width = std::size_t{1} << (marker & 0x3);
  const bool isInteger = marker >> 4 == static_cast<unsigned>(Type::integer) && (marker & 0xF) <= 3;
  if (!isInteger || rest.size() <= width) fail(index, "its length is missing");
  const std::uint64_t length = bigEndian(rest.subspan(1, width));
  rest = rest.subspan(1 + width);
  return length;
}

std::uint64_t Layout::lengthByDetail(std::uint64_t index, Type type, unsigned detail) const {
  switch (type) {
    case Type::singleton: return 0;
    case Type::integer:
    case Type::real:
    case Type::date:
      if (detail <= 4) return std::uint64_t{1} << detail;
      break;
    case Type::uid: return detail + 1;
    default: break;
  }
  fail(index, "its type is unknown");
}

}  // namespace QVFoundation::detail::binary
