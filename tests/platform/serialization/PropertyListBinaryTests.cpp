#include "QVFoundation/platform/serialization/PropertyList.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "QVFoundation/platform/runtime/Array.h"
#include "tests/platform/serialization/ThrownError.h"

namespace QVFoundation {
namespace {

using namespace std::string_literals;
using ::testing::EndsWith;
using ::testing::StartsWith;

std::string bigEndian(std::uint64_t number, unsigned width) {
  std::string out;
  while (width-- > 0) out += static_cast<char>(number >> (8 * width));
  return out;
}

/// A binary property list put together from its objects, right or wrong.
struct File {
  std::vector<std::string> objects;
  unsigned referenceWidth = 1;
  std::uint64_t root = 0;
  std::uint64_t extraCount = 0;

  [[nodiscard]] std::string bytes() const {
    std::string out = "bplist00";
    std::string table;
    for (const std::string& object : objects) {
      table += bigEndian(out.size(), 4);
      out += object;
    }
    const std::size_t tableOffset = out.size();
    return out + table + std::string(6, '\0') + '\4' + static_cast<char>(referenceWidth) +
           bigEndian(objects.size() + extraCount, 8) + bigEndian(root, 8) + bigEndian(tableOffset, 8);
  }
};

Value read(const File& file) {
  const std::string bytes = file.bytes();
  return propertyListFromData(std::as_bytes(std::span(bytes)));
}

std::string errorOf(const File& file) {
  return thrownError(NSPropertyListReadCorruptError, [&] { (void)read(file); });
}

struct ObjectCase {
  const char* row;
  std::string object;
  Value value;
};

const ObjectCase readableObjects[] = {
    {"eight bytes are signed", "\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s, -1},
    {"four bytes are not", "\x12\xFF\xFF\xFF\xFF"s, 4294967295},
    {"sixteen bytes, small", "\x14" + std::string(15, '\0') + '\5', 5},
    {"sixteen bytes, negative", "\x14" + std::string(16, '\xFF'), -1},
    {"sixteen bytes, unsigned", "\x14" + bigEndian(0, 8) + bigEndian(~0ULL, 8), ~0ULL},
    {"float", "\x22\x3F\x00\x00\x00"s, 0.5},
    {"length in an object of its own", "\x5F\x12\x00\x00\x00\x02"s + "ab", "ab"},
    {"UTF-16 with half a pair", "\x62\xD8\x34\x00\x41"s, "\uFFFDA"},
    {"UTF-8 in a text for ASCII", "\x52\xC3\xA4"s, "ä"},
    {"identifier", "\x81\x01\x02"s, Dictionary{{"CF$UID", 258}}},
};

TEST(BinaryPropertyList, objectsAreReadInAllTheirForms) {
  for (const ObjectCase& c : readableObjects) EXPECT_EQ(read({{c.object}}), c.value) << c.row;
}

struct BinaryFault {
  std::string_view row;
  File file;
  std::string_view error;
};

const BinaryFault binaryFaults[] = {
    {"no objects", {}, "the root is none of the objects"},
    {"root that does not exist", {.objects = {"\x09"}, .root = 1}, "the root is none of the objects"},
    {"count beyond the table", {.objects = {"\x09"}, .extraCount = 1}, "does not lie within the file"},
    {"count that overflows", {.objects = {"\x09"}, .extraCount = 1ULL << 62}, "does not lie within the file"},
    {"no width", {{"\x09"}, 0}, "the trailer gives an impossible width"},
    {"width of nine", {{"\x09"}, 9}, "the trailer gives an impossible width"},
    {"unknown type", {{"p"}}, "its type is unknown"},
    {"null", {{"\0"s}}, "its type is unknown"},
    {"text beyond the objects", {{"\x63\x01"}}, "it is longer than the file has room for"},
    {"huge array", {{"\xAF\x13\x20" + bigEndian(0, 7)}}, "it is longer than the file has room for"},
    {"overflow", {{"\xDF\x13\x10" + bigEndian(0, 7)}, 8}, "it is longer than the file has room for"},
    {"length that is no integer", {{"\x5F\x22\x00\x00\x00\x02"s + "ab"}}, "its length is missing"},
    {"length that is cut", {{"\x5F\x12\x00"s}}, "its length is missing"},
    {"reference to nowhere", {{"\xA1\x05"}}, "it refers to an object that does not exist"},
    {"key that is no text", {{"\xD1\x01\x01"s, "\x09"}}, "object 1 at byte 11: a text is expected here"},
    {"text that is not UTF-8", {{"\x51\xFF"}}, "its text is not ASCII"},
    {"integer beyond 64 bits", {{"\x14\1" + std::string(15, '\0')}}, "an integer has more than 64 bits"},
    {"date that is no number", {{"\x33\x7F\xF8" + bigEndian(0, 6)}}, "a date is no number"},
    {"circle", {{"\xA1\1", "\xD1\3\2"s, "\xA1\0"s, "\x51\x01"}}, "object 0 at byte 8: it contains itself"},
};

TEST(BinaryPropertyList, faultsAreNamedWithTheObject) {
  for (const BinaryFault& c : binaryFaults) {
    EXPECT_THAT(errorOf(c.file), StartsWith("Invalid binary property list: ")) << c.row;
    EXPECT_THAT(errorOf(c.file), EndsWith(c.error)) << c.row;
  }
}

TEST(BinaryPropertyList, everyCutOfAFileIsAnErrorAndNoMore) {
  const NSData data = dataFromPropertyList(
      Dictionary{{"a", Array{1, "ä", NSDate(), NSData(3)}}, {"b", Dictionary{{"c", 0.5}}}},
      PropertyListFormat::binary);
  for (std::size_t size = 0; size < data.size(); ++size) {
    EXPECT_THROW((void)propertyListFromData(std::span(data).first(size)), NSError) << size;
  }
}

/// Arrays that each hold the next one so many times, down to an empty one.
File chain(std::size_t length, std::size_t times = 1) {
  File file{.objects = {}, .referenceWidth = 4};
  for (std::size_t next = 1; next < length; ++next) {
    std::string array(1, static_cast<char>(0xA0 + times));
    for (std::size_t i = 0; i < times; ++i) array += bigEndian(next, 4);
    file.objects.push_back(array);
  }
  file.objects.emplace_back("\xA0");
  return file;
}

TEST(BinaryPropertyList, nestingIsLimitedAlsoThroughSharedContainers) {
  EXPECT_EQ(read(chain(512)).kind(), ValueKind::array);
  EXPECT_THAT(errorOf(chain(513)),
              EndsWith("object 512 at byte 2568: values are nested deeper than 512 levels"));
  EXPECT_THAT(errorOf(chain(1'000'000)), EndsWith("values are nested deeper than 512 levels"));

  // The root holds the second half of a chain first, which counts with its whole height when the first half,
  // that leads to it, meets it again.
  File halves = chain(600);
  halves.objects[0] = '\xA2' + bigEndian(300, 4) + bigEndian(1, 4);
  EXPECT_THAT(errorOf(halves), EndsWith("values are nested deeper than 512 levels"));
}

TEST(BinaryPropertyList, sharedObjectsCannotGrowIntoATreeBeyondMeasure) {
  EXPECT_EQ(read(chain(10, 2)).array().size(), 2U);
  EXPECT_THAT(errorOf(chain(400, 2)), EndsWith("shared objects make the whole too large"));

  // One text of a megabyte, named a hundred thousand times.
  const File texts{{"\xAF\x12" + bigEndian(100'000, 4) + std::string(100'000, '\1'),
                    "\x5F\x12" + bigEndian(1 << 20, 4) + std::string(1 << 20, 'x')}};
  EXPECT_THAT(errorOf(texts), EndsWith("shared objects make the whole too large"));
}

TEST(BinaryPropertyList, referencesWidenWithTheNumberOfObjectsAndEqualTextsAreWrittenOnce) {
  for (const int count : {254, 255, 256, 65'534, 65'535, 65'536}) {
    Array array;
    for (int i = 0; i < count; ++i) array.append(i);
    const NSData data = dataFromPropertyList(array, PropertyListFormat::binary);
    EXPECT_TRUE(propertyListFromData(data) == Value(array)) << count;
  }
  const std::string text(1000, 'x');
  const Value value = Array{text, text, Dictionary{{text, text}}};
  const NSData data = dataFromPropertyList(value, PropertyListFormat::binary);
  EXPECT_TRUE(data.size() < 2 * text.size() && propertyListFromData(data) == value);
}

}  // namespace
}  // namespace QVFoundation
