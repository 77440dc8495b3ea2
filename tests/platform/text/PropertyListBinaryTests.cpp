#include "QVFoundation/platform/text/PropertyList.h"

#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "QVFoundation/platform/runtime/Array.h"
#include "tests/platform/text/ThrownError.h"

namespace QVFoundation {
namespace {

using namespace std::string_literals;

std::string bigEndian(std::uint64_t number, unsigned width) {
  std::string out;
  while (width-- > 0) out += static_cast<char>(number >> (8 * width));
  return out;
}

/// A binary property list put together from its objects, right or wrong.
struct File {
  std::vector<std::string> objects;
  unsigned referenceWidth = 1;
  unsigned offsetWidth = 4;
  std::uint64_t root = 0;
  std::uint64_t extraCount = 0;

  [[nodiscard]] std::string bytes() const {
    std::string out = "bplist00";
    std::string table;
    for (const std::string& object : objects) {
      table += bigEndian(out.size(), offsetWidth);
      out += object;
    }
    const std::size_t tableOffset = out.size();
    return out + table + std::string(6, '\0') + static_cast<char>(offsetWidth) +
           static_cast<char>(referenceWidth) + bigEndian(objects.size() + extraCount, 8) +
           bigEndian(root, 8) + bigEndian(tableOffset, 8);
  }
};

Value read(std::string_view bytes) { return propertyListFromData(std::as_bytes(std::span(bytes))); }

std::string errorOf(const std::string& bytes) {
  return thrownError(NSPropertyListReadCorruptError, [&] { (void)read(bytes); });
}

struct ObjectCase {
  const char* row;
  std::string object;
  Value value;
};

const ObjectCase readable[] = {
    {"eight bytes are signed", "\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s, -1},
    {"four bytes are not", "\x12\xFF\xFF\xFF\xFF"s, 4294967295},
    {"sixteen bytes, small", "\x14" + std::string(15, '\0') + '\5', 5},
    {"sixteen bytes, negative", "\x14" + std::string(16, '\xFF'), -1},
    {"sixteen bytes, beyond signed", "\x14" + std::string(8, '\0') + "\x80" + std::string(7, '\0'),
     std::uint64_t{1} << 63},
    {"float", "\x22\x3F\x00\x00\x00"s, 0.5},
    {"length in an object of its own", "\x5F\x12\x00\x00\x00\x02"s + "ab", "ab"},
    {"UTF-16 with half a pair", "\x62\xD8\x34\x00\x41"s, "\uFFFDA"},
    {"UTF-8 in a text for ASCII", "\x52\xC3\xA4"s, "ä"},
    {"identifier", "\x81\x01\x02"s, Dictionary{{"CF$UID", 258}}},
};

TEST(BinaryPropertyList, objectsAreReadInAllTheirForms) {
  for (const ObjectCase& c : readable) EXPECT_EQ(read(File{{c.object}}.bytes()), c.value) << c.row;
}

struct FaultCase {
  const char* row;
  std::string bytes;
  std::string_view error;
};

const FaultCase faults[] = {
    {"cut", "bplist00", "the file is too short"},
    {"no objects", File{{}}.bytes(), "the root is none of the objects"},
    {"root that does not exist", File{.objects = {"\x09"}, .root = 1}.bytes(),
     "the root is none of the objects"},
    {"count beyond the table", File{.objects = {"\x09"}, .extraCount = 1}.bytes(),
     "the offset table does not lie within the file"},
    {"count that overflows", File{.objects = {"\x09"}, .extraCount = std::uint64_t{1} << 62}.bytes(),
     "the offset table does not lie within the file"},
    {"no width", File{.objects = {"\x09"}, .referenceWidth = 0}.bytes(),
     "the trailer gives an impossible width"},
    {"width of nine", File{.objects = {"\x09"}, .referenceWidth = 9}.bytes(),
     "the trailer gives an impossible width"},
    {"unknown type", File{{"p"}}.bytes(), "object 0 at byte 8: its type is unknown"},
    {"null", File{{"\0"s}}.bytes(), "object 0 at byte 8: its type is unknown"},
    {"text beyond the objects",
     File{{"\x53"
           "ab"}}
         .bytes(),
     "object 0 at byte 8: it is longer than the file has room for"},
    {"huge data", File{{"\x4F\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s}}.bytes(),
     "object 0 at byte 8: it is longer than the file has room for"},
    {"huge array", File{{"\xAF\x13\x20\x00\x00\x00\x00\x00\x00\x00"s}}.bytes(),
     "object 0 at byte 8: it is longer than the file has room for"},
    {"dictionary whose size overflows",
     File{.objects = {"\xDF\x13\x10\x00\x00\x00\x00\x00\x00\x00"s}, .referenceWidth = 8}.bytes(),
     "object 0 at byte 8: it is longer than the file has room for"},
    {"length that is no integer", File{{"\x5F\x22\x00\x00\x00\x02"s + "ab"}}.bytes(),
     "object 0 at byte 8: its length is missing"},
    {"length that is cut", File{{"\x5F\x12\x00"s}}.bytes(), "object 0 at byte 8: its length is missing"},
    {"reference to nowhere", File{{"\xA1\x05"}}.bytes(),
     "object 0 at byte 8: it refers to an object that does not exist"},
    {"key that is no text", File{{"\xD1\x01\x01"s, "\x09"}}.bytes(),
     "object 1 at byte 11: a text is expected here"},
    {"text that is not UTF-8", File{{"\x51\xFF"}}.bytes(), "object 0 at byte 8: its text is not ASCII"},
    {"integer of more than 64 bits", File{{"\x14\1" + std::string(15, '\0')}}.bytes(),
     "object 0 at byte 8: an integer has more than 64 bits"},
    {"date that is no number", File{{"\x33\x7F\xF8" + std::string(6, '\0')}}.bytes(),
     "object 0 at byte 8: a date is no number"},
    {"array in itself", File{{"\xA1\0"s}}.bytes(), "object 0 at byte 8: it contains itself"},
    {"circle of three",
     File{{"\xA1\1", "\xD1\3\2"s, "\xA1\0"s,
           "\x51"
           "k"}}
         .bytes(),
     "object 0 at byte 8: it contains itself"},
};

TEST(BinaryPropertyList, faultsAreNamedWithTheObject) {
  for (const FaultCase& c : faults) {
    EXPECT_EQ(errorOf(c.bytes), "Invalid binary property list: " + std::string(c.error)) << c.row;
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

File chain(std::size_t length) {
  File file{.objects = {}, .referenceWidth = 4};
  for (std::size_t next = 1; next < length; ++next) file.objects.push_back('\xA1' + bigEndian(next, 4));
  file.objects.emplace_back("\xA0");
  return file;
}

TEST(BinaryPropertyList, nestingIsLimited) {
  EXPECT_EQ(read(chain(512).bytes()).kind(), ValueKind::array);
  EXPECT_EQ(
      errorOf(chain(513).bytes()),
      "Invalid binary property list: object 512 at byte 2568: values are nested deeper than 512 levels");
  EXPECT_TRUE(errorOf(chain(1'000'000).bytes()).ends_with("values are nested deeper than 512 levels"));
}

// A shared container that has been built counts with its whole height wherever it is met again.
TEST(BinaryPropertyList, nestingIsLimitedThroughSharedContainers) {
  File file{.objects = {}, .referenceWidth = 2};
  // The root holds the end of a chain of 300 first, then a chain of 300 that leads to the first one.
  file.objects.push_back('\xA2' + bigEndian(1, 2) + bigEndian(301, 2));
  for (std::size_t index = 1; index < 300; ++index) file.objects.push_back('\xA1' + bigEndian(index + 1, 2));
  file.objects.emplace_back("\xA0");
  for (std::size_t index = 301; index < 600; ++index)
    file.objects.push_back('\xA1' + bigEndian(index + 1, 2));
  file.objects.push_back('\xA1' + bigEndian(1, 2));
  EXPECT_TRUE(errorOf(file.bytes()).ends_with("values are nested deeper than 512 levels"));
}

File doubling(std::size_t levels) {
  File file{.objects = {}, .referenceWidth = 2};
  for (std::size_t next = 1; next < levels; ++next)
    file.objects.push_back('\xA2' + bigEndian(next, 2) + bigEndian(next, 2));
  file.objects.emplace_back("\xA0");
  return file;
}

TEST(BinaryPropertyList, sharedObjectsCannotGrowIntoATreeBeyondMeasure) {
  EXPECT_EQ(read(doubling(10).bytes())["x"], Value());
  EXPECT_TRUE(errorOf(doubling(400).bytes()).ends_with("shared objects make the whole too large"));

  // One text of a megabyte, named a hundred thousand times.
  File texts{.objects = {"\xAF\x12" + bigEndian(100'000, 4) + std::string(100'000, '\1'),
                         "\x5F\x12" + bigEndian(1 << 20, 4) + std::string(1 << 20, 'x')}};
  EXPECT_TRUE(errorOf(texts.bytes()).ends_with("shared objects make the whole too large"));
}

TEST(BinaryPropertyList, equalTextsAreWrittenOnce) {
  const std::string text(1000, 'x');
  const NSData data =
      dataFromPropertyList(Array{text, text, Dictionary{{text, text}}}, PropertyListFormat::binary);
  EXPECT_LT(data.size(), 2 * text.size());
  EXPECT_EQ(propertyListFromData(data), Value(Array{text, text, Dictionary{{text, text}}}));
}

TEST(BinaryPropertyList, referencesWidenWithTheNumberOfObjects) {
  for (const int count : {254, 255, 256, 65'534, 65'535, 65'536}) {
    Array array;
    for (int i = 0; i < count; ++i) array.append(i);
    EXPECT_TRUE(propertyListFromData(dataFromPropertyList(array, PropertyListFormat::binary)) == Value(array))
        << count;
  }
}

}  // namespace
}  // namespace QVFoundation
