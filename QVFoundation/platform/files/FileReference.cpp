#include "QVFoundation/platform/files/FileReference.h"

#include <algorithm>
#include <cerrno>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "QVFoundation/platform/files/FileErrors_p.h"
#include "QVFoundation/platform/files/FileRecord_p.h"
#include "QVFoundation/platform/files/FileSearch_p.h"

namespace QVFoundation {

namespace detail {

std::string absolutePathTo(PathView path) {
  if (path.empty()) throw fileReadError(path, ENOENT);
  std::string whole;
  if (!path.text().starts_with('/')) {
    std::error_code code;
    whole = std::filesystem::current_path(code).native() + '/';
    if (code) throw fileReadError(path, code.value());
  }
  whole += path;

  std::string result;
  for (std::size_t start = 0, end = 0; start < whole.size(); start = end + 1) {
    end = std::min(whole.find('/', start), whole.size());
    const std::string_view name = std::string_view(whole).substr(start, end - start);
    if (!name.empty() && name != ".") (result += '/') += name;
  }
  if (result.size() > detail::mostPathBytes) throw fileReadError(path, ENAMETOOLONG);
  return result.empty() ? "/" : result;
}

}  // namespace detail

using detail::absolutePathTo;
using detail::FileIdentity;
using detail::FileLocation;
using detail::fileReadError;
using detail::FileRecord;
using detail::handingBack;

namespace {

std::optional<std::string> pathRelativeTo(const std::string& base, const std::string& path) {
  std::string relative = std::filesystem::path(path).lexically_relative(base).native();
  return relative.empty() || relative.size() > detail::mostPathBytes ? std::nullopt
                                                                     : std::optional(std::move(relative));
}

std::string pathFromBase(const std::string& base, const std::string& relative) {
  return absolutePathTo((std::filesystem::path(base) / relative).lexically_normal());
}

std::optional<std::string> absoluteBase(std::optional<PathView> base) {
  return base ? std::optional(absolutePathTo(*base)) : std::nullopt;
}

/// With all that is known of it.
FileIdentity wholeIdentityOf(const std::string& path) {
  const FileLocation location(path);
  auto identity = detail::identityOf(location);
  if (!identity) throw fileReadError(path, errno);
  identity->handle = detail::handleOf(location);
  return *std::move(identity);
}

FileRecord recordOfItem(PathView path, std::optional<PathView> base) {
  FileRecord record{.path = absolutePathTo(path), .relativePath = {}, .identity = {}};
  if (const auto from = absoluteBase(base)) record.relativePath = pathRelativeTo(*from, record.path);
  record.identity = wholeIdentityOf(record.path);
  return record;
}

/// The same item at another path.
FileRecord movedRecord(FileRecord record, const std::string& path, const std::optional<std::string>& base) {
  record.path = absolutePathTo(path);
  if (base && record.relativePath) record.relativePath = pathRelativeTo(*base, record.path);
  return record;
}

/// The item that is at a path now.
FileRecord replacedRecord(FileRecord record, const std::string& path,
                          const std::optional<std::string>& base) {
  record.identity = wholeIdentityOf(path);
  return movedRecord(std::move(record), path, base);
}

FileRecord resolvedRecord(const FileRecord& record, const std::optional<std::string>& base) {
  const auto isIt = [&](const auto& item) { return item && isSameItem(*item, record.identity); };
  const auto isOfItsType = [&](const auto& item) { return item && item->type == record.identity.type; };

  if (base && record.relativePath) {
    const std::string path = pathFromBase(*base, *record.relativePath);
    const auto item = detail::identityOf(FileLocation(path));
    if (isIt(item)) return movedRecord(record, path, base);
    if (isOfItsType(item)) return replacedRecord(record, path, base);
  }
  const auto item = detail::identityOf(FileLocation(record.path));
  const int code = item ? ENOENT : errno;
  if (isIt(item)) return record;
  if (const auto path = detail::pathOfItem(record.identity, record.path))
    return movedRecord(record, *path, base);
  if (const auto path = detail::searchNearby(record.path, record.identity))
    return movedRecord(record, *path, base);
  if (isOfItsType(item)) return replacedRecord(record, record.path, base);
  throw fileReadError(record.path, code);
}

}  // namespace

FileReference::FileReference(FileRecord record)
    : record_(std::make_shared<const FileRecord>(std::move(record))) {}

std::optional<FileReference> FileReference::referenceToPath(PathView path, std::optional<NSError>* error) {
  return handingBack(error, [&] { return FileReference(recordOfItem(path, {})); });
}

std::optional<FileReference> FileReference::referenceToPath(PathView path, PathView base,
                                                            std::optional<NSError>* error) {
  return handingBack(error, [&] { return FileReference(recordOfItem(path, base)); });
}

std::filesystem::path FileReference::path() const {
  return record_ != nullptr ? record_->path : std::string();
}

std::optional<FileReference::Resolution> FileReference::resolve(std::optional<NSError>* error) {
  return resolve(std::nullopt, error);
}

std::optional<FileReference::Resolution> FileReference::resolve(std::optional<PathView> base,
                                                                std::optional<NSError>* error) {
  return handingBack(error, [&] {
    if (record_ == nullptr) throw fileReadError("", ENOENT);
    FileRecord now = resolvedRecord(*record_, absoluteBase(base));
    const bool changed = now.path != record_->path || !isSameItem(now.identity, record_->identity);
    if (changed) record_ = std::make_shared<const FileRecord>(std::move(now));
    return Resolution{.path = record_->path, .changed = changed};
  });
}

NSData FileReference::data() const { return record_ != nullptr ? dataFromRecord(*record_) : NSData(); }

std::optional<FileReference> FileReference::fromData(std::span<const std::byte> data,
                                                     std::optional<NSError>* error) {
  return handingBack(error, [&] { return FileReference(detail::recordFromData(data)); });
}

bool operator==(const FileReference& a, const FileReference& b) noexcept {
  if (a.record_ == b.record_) return true;
  return a.record_ != nullptr && b.record_ != nullptr && isSameItem(a.record_->identity, b.record_->identity);
}

}  // namespace QVFoundation
