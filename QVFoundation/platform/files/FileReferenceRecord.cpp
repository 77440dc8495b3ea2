#include <algorithm>
#include <array>
#include <concepts>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <utility>

#include "QVFoundation/platform/files/FileRecord_p.h"

namespace QVFoundation::detail {

// A record as bytes. Numbers are little-endian; a field is a number of 4 bytes, its length, and its content.
//
//   8         "QVFILREF"
//   4         version: 1
//   field     path: absolute, without zero, empty names or ".", at most 64 KiB
//   field     path relative to the base, without zero, at most 64 KiB; empty where there is none
//   4         type: the bits of S_IFMT
//   4, 4      device: major, minor
//   8         inode
//   field     birth time: 8 bytes of seconds, 4 of nanoseconds; empty where there is none
//   field     handle: 4 bytes of type, 1 to MAX_HANDLE_SZ of handle; empty where there is none
//   8         FNV-1a-64 of all that stands before
//
// A record has one form only: what is read and written again is the same, byte for byte.

namespace {

constexpr std::string_view recordMagic = "QVFILREF";
constexpr std::uint32_t recordVersion = 1;
constexpr std::size_t checksumSize = sizeof(std::uint64_t);

std::uint64_t checksumOf(std::span<const std::byte> bytes) noexcept {
  std::uint64_t sum = 0xcbf29ce484222325;
  for (const std::byte byte : bytes) sum = (sum ^ std::to_integer<std::uint64_t>(byte)) * 0x100000001b3;
  return sum;
}

[[noreturn]] void refuseRecord(std::string_view reason) {
  throw NSError(
      NSCocoaErrorDomain, NSCoderReadCorruptError,
      {{NSLocalizedDescriptionKey, "The file reference could not be read: " + std::string(reason)}});
}

class RecordWriter {
public:
  template <std::integral Number>
  void number(Number number) {
    for (std::size_t i = 0; i < sizeof(Number); ++i)
      bytes_.push_back(static_cast<std::byte>(static_cast<std::make_unsigned_t<Number>>(number) >> (8 * i)));
  }
  void bytes(std::span<const std::byte> bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }
  void text(std::string_view text) { bytes(std::as_bytes(std::span(text))); }
  void field(std::span<const std::byte> content) {
    number(static_cast<std::uint32_t>(content.size()));
    bytes(content);
  }

  [[nodiscard]] const NSData& data() const noexcept { return bytes_; }

private:
  NSData bytes_;
};

class RecordReader {
public:
  explicit RecordReader(std::span<const std::byte> bytes) noexcept : rest_(bytes) {}

  std::span<const std::byte> bytes(std::size_t size) {
    if (size > rest_.size()) refuseRecord("it ends too early");
    const auto bytes = rest_.first(size);
    rest_ = rest_.subspan(size);
    return bytes;
  }
  template <std::integral Number>
  Number number() {
    std::make_unsigned_t<Number> number = 0;
    for (unsigned shift = 0; const std::byte byte : bytes(sizeof(Number))) {
      number |= static_cast<std::make_unsigned_t<Number>>(std::to_integer<std::uint64_t>(byte) << shift);
      shift += 8;
    }
    return static_cast<Number>(number);
  }
  RecordReader field(std::size_t mostBytes, std::string_view tooLong) {
    const auto size = number<std::uint32_t>();
    if (size > mostBytes) refuseRecord(tooLong);
    return RecordReader(bytes(size));
  }

  [[nodiscard]] std::span<const std::byte> rest() const noexcept { return rest_; }
  [[nodiscard]] std::string_view text() const noexcept {
    return {reinterpret_cast<const char*>(rest_.data()), rest_.size()};
  }
  [[nodiscard]] bool isAtEnd() const noexcept { return rest_.empty(); }

private:
  std::span<const std::byte> rest_;
};

bool isTypeOfItem(std::uint32_t type) noexcept {
  constexpr std::array<std::uint32_t, 7> types{S_IFREG,  S_IFDIR, S_IFLNK, S_IFIFO,
                                               S_IFSOCK, S_IFCHR, S_IFBLK};
  return std::ranges::find(types, type) != types.end();
}

std::string readPath(RecordReader& reader) {
  std::string path(reader.field(mostPathBytes, "a path in it is too long").text());
  if (path.find('\0') != std::string::npos) refuseRecord("a path in it holds a zero");
  return path;
}

void writeBirth(RecordWriter& writer, const std::optional<BirthTime>& birth) {
  RecordWriter content;
  if (birth) {
    content.number(birth->seconds);
    content.number(birth->nanoseconds);
  }
  writer.field(content.data());
}

std::optional<BirthTime> readBirth(RecordReader& reader) {
  RecordReader content = reader.field(12, "its birth time is too long");
  if (content.isAtEnd()) return {};
  const auto seconds = content.number<std::int64_t>();
  const auto nanoseconds = content.number<std::uint32_t>();
  if (nanoseconds >= 1'000'000'000) refuseRecord("its birth time is no time");
  return BirthTime{seconds, nanoseconds};
}

void writeHandle(RecordWriter& writer, const std::optional<FileHandle>& handle) {
  RecordWriter content;
  if (handle) {
    content.number(handle->type);
    content.bytes(handle->bytes);
  }
  writer.field(content.data());
}

std::optional<FileHandle> readHandle(RecordReader& reader) {
  RecordReader content = reader.field(sizeof(std::int32_t) + MAX_HANDLE_SZ, "its handle is too long");
  if (content.isAtEnd()) return {};
  const auto type = content.number<std::int32_t>();
  if (content.isAtEnd()) refuseRecord("its handle is empty");
  return FileHandle{type, {content.rest().begin(), content.rest().end()}};
}

/// The part between the version and the checksum.
FileRecord readContent(RecordReader reader) {
  FileRecord record;
  record.path = readPath(reader);
  if (!record.path.starts_with('/')) refuseRecord("its path is not absolute");
  if (record.path != absolutePathTo(record.path)) refuseRecord("its path has names that lead nowhere");
  if (std::string path = readPath(reader); !path.empty()) record.relativePath = std::move(path);
  if (record.relativePath && record.relativePath->starts_with('/'))
    refuseRecord("its relative path is absolute");

  FileIdentity& identity = record.identity;
  identity.type = reader.number<std::uint32_t>();
  if (!isTypeOfItem(identity.type)) refuseRecord("it is for an unknown type of file");
  identity.deviceMajor = reader.number<std::uint32_t>();
  identity.deviceMinor = reader.number<std::uint32_t>();
  identity.inode = reader.number<std::uint64_t>();
  identity.birth = readBirth(reader);
  identity.handle = readHandle(reader);
  if (!reader.isAtEnd()) refuseRecord("it goes on after its end");
  return record;
}

}  // namespace

NSData dataFromRecord(const FileRecord& record) {
  RecordWriter writer;
  writer.text(recordMagic);
  writer.number(recordVersion);
  writer.field(std::as_bytes(std::span(record.path)));
  writer.field(std::as_bytes(std::span(record.relativePath ? *record.relativePath : std::string())));
  writer.number(static_cast<std::uint32_t>(record.identity.type));
  writer.number(record.identity.deviceMajor);
  writer.number(record.identity.deviceMinor);
  writer.number(record.identity.inode);
  writeBirth(writer, record.identity.birth);
  writeHandle(writer, record.identity.handle);
  writer.number(checksumOf(writer.data()));
  return writer.data();
}

FileRecord recordFromData(std::span<const std::byte> data) {
  if (!RecordReader(data).text().starts_with(recordMagic))
    refuseRecord("it does not begin as file references do");
  RecordReader reader(data.subspan(recordMagic.size()));
  if (reader.number<std::uint32_t>() != recordVersion) refuseRecord("it is of another version");
  if (reader.rest().size() < checksumSize) refuseRecord("it ends too early");
  const auto content = reader.bytes(reader.rest().size() - checksumSize);
  if (reader.number<std::uint64_t>() != checksumOf(data.first(data.size() - checksumSize)))
    refuseRecord("its checksum is wrong");
  return readContent(RecordReader(content));
}

}  // namespace QVFoundation::detail
