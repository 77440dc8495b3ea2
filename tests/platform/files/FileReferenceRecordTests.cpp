#include "QVFoundation/platform/files/FileReference.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "QVFoundation/platform/files/FileLocation_p.h"
#include "QVFoundation/platform/files/FileRecord_p.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation {
namespace {

using namespace std::string_literals;
using testing::TemporaryFolder;

/// What a record holds, to be spoiled in one place.
struct RecordParts {
  std::string magic = "QVFILREF";
  std::uint32_t version = 1;
  std::string path = "/a/b";
  std::string relativePath = "../b";
  std::uint32_t type = S_IFREG;
  std::string birth = "\x01\0\0\0\0\0\0\0\xff\xc9\x9a\x3b"s;  // 1 s and 999,999,999 ns
  std::string handle = "\x01\0\0\0handle"s;
  std::string end = {};
  std::optional<std::uint32_t> lengthOfHandle = {};
};

template <class Number>
std::string littleEndian(Number number) {
  std::string bytes;
  for (std::size_t i = 0; i < sizeof number; ++i) bytes += static_cast<char>(number >> (8 * i));
  return bytes;
}

std::string fieldOf(const std::string& content, std::optional<std::uint32_t> length = {}) {
  return littleEndian(length.value_or(static_cast<std::uint32_t>(content.size()))) + content;
}

std::string withChecksum(std::string record) {
  std::uint64_t sum = 14695981039346656037U;
  for (const char c : record) sum = (sum ^ static_cast<unsigned char>(c)) * 1099511628211U;
  return record += littleEndian(sum);
}

std::string recordOf(const RecordParts& parts) {
  return withChecksum(parts.magic + littleEndian(parts.version) + fieldOf(parts.path) +
                      fieldOf(parts.relativePath) + littleEndian(parts.type) + "\x08\0\0\0\x01\0\0\0"s +
                      littleEndian(std::uint64_t{0x1234567890}) + fieldOf(parts.birth) +
                      fieldOf(parts.handle, parts.lengthOfHandle) + parts.end);
}

std::optional<FileReference> readRecord(std::string_view record, std::optional<NSError>* error = nullptr) {
  return FileReference::fromData(std::as_bytes(std::span(record)), error);
}

std::string writtenRecord(const FileReference& reference) {
  const NSData data = reference.data();
  return {reinterpret_cast<const char*>(data.data()), data.size()};
}

TEST(FileReferenceRecord, keepsItsForm) {
  const std::string mostHandle = "\x02\0\0\0"s + std::string(128, 'h');
  for (const RecordParts& parts :
       {RecordParts{}, RecordParts{.relativePath = ""}, RecordParts{.birth = ""}, RecordParts{.handle = ""},
        RecordParts{.path = "/" + std::string(detail::mostPathBytes - 1, 'x')},
        RecordParts{.handle = mostHandle}, RecordParts{.type = S_IFLNK}}) {
    const std::string record = recordOf(parts);
    std::optional<NSError> error;
    const auto reference = readRecord(record, &error);
    ASSERT_TRUE(reference) << error->localizedDescription();
    EXPECT_EQ(reference->path(), parts.path);
    EXPECT_EQ(writtenRecord(*reference), record);
  }
}

TEST(FileReferenceRecord, findsTheItemAgain) {
  const TemporaryFolder folder;
  std::filesystem::path path = folder / "item";
  for (int i = 0; i < 20; ++i) {  // longer than PATH_MAX
    ASSERT_EQ(detail::FileLocation(path).makeFolder(0755), 0);
    auto original = FileReference::referenceToPath(path, folder / "base").value();
    auto reference = readRecord(writtenRecord(original)).value();
    EXPECT_EQ(reference, original);
    EXPECT_EQ(reference.resolve()->path, path);
    EXPECT_EQ(writtenRecord(reference), writtenRecord(original));
    path /= std::string(250, 'x');
  }
}

struct RecordDamage {
  const char* row;
  std::string record;
  const char* says;
};
const RecordDamage recordDamages[] = {
    {"nothing", "", "it does not begin as file references do"},
    {"other magic", recordOf({.magic = "QVFILREG"}), "it does not begin as file references do"},
    {"no checksum", "QVFILREF\x01\0\0\0"s, "it ends too early"},
    {"later version", recordOf({.version = 2}), "it is of another version"},
    {"nothing in it", withChecksum("QVFILREF\x01\0\0\0"s), "it ends too early"},
    {"relative path", recordOf({.path = "a/b"}), "its path is not absolute"},
    {"zero in path", recordOf({.path = "/a\0b"s}), "a path in it holds a zero"},
    {"long path", recordOf({.path = "/" + std::string(detail::mostPathBytes, 'x')}),
     "a path in it is too long"},
    {"path with a dot", recordOf({.path = "/a/./b"}), "its path has names that lead nowhere"},
    {"path with an empty name", recordOf({.path = "/a//b"}), "its path has names that lead nowhere"},
    {"absolute relative path", recordOf({.relativePath = "/b"}), "its relative path is absolute"},
    {"no type", recordOf({.type = 0}), "it is for an unknown type of file"},
    {"permissions", recordOf({.type = S_IFREG | 0644}), "it is for an unknown type of file"},
    {"short birth time", recordOf({.birth = "12345678901"}), "it ends too early"},
    {"long birth time", recordOf({.birth = "1234567890123"}), "its birth time is too long"},
    {"a whole second of nanoseconds", recordOf({.birth = "\x01\0\0\0\0\0\0\0\0\xca\x9a\x3b"s}),
     "its birth time is no time"},
    {"handle without bytes", recordOf({.handle = "\x01\0\0\0"s}), "its handle is empty"},
    {"long handle", recordOf({.handle = std::string(133, 'h')}), "its handle is too long"},
    {"length past the end", recordOf({.lengthOfHandle = 11}), "it ends too early"},
    {"greatest length", recordOf({.lengthOfHandle = 0xffffffff}), "its handle is too long"},
    {"more at the end", recordOf({.end = "x"}), "it goes on after its end"},
    {"more after the checksum", recordOf({}) + "x", "its checksum is wrong"},
};

TEST(FileReferenceRecord, isRefusedWhereItIsDamaged) {
  for (const RecordDamage& damage : recordDamages) {
    std::optional<NSError> error;
    EXPECT_FALSE(readRecord(damage.record, &error)) << damage.row;
    ASSERT_TRUE(error) << damage.row;
    EXPECT_EQ(error->code(), NSCoderReadCorruptError);
    EXPECT_EQ(error->localizedDescription(),
              "The file reference could not be read: " + std::string(damage.says));
  }
}

TEST(FileReferenceRecord, isRefusedWhereAnyByteIsAnotherOrMissing) {
  const std::string record = recordOf({});
  for (std::size_t i = 0; i < record.size(); ++i) {
    EXPECT_FALSE(readRecord(record.substr(0, i))) << "cut at " << i;
    for (int difference = 1; difference < 256; ++difference) {
      std::string damaged = record;
      damaged[i] = static_cast<char>(damaged[i] ^ difference);
      EXPECT_FALSE(readRecord(damaged)) << i << " by " << difference;
    }
  }
}

}  // namespace
}  // namespace QVFoundation
