#include "QVFoundation/platform/files/NSURL.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <sys/stat.h>

#include "QVFoundation/platform/files/FileErrors_p.h"
#include "QVFoundation/platform/files/FileLocation_p.h"
#include "QVFoundation/platform/files/FileStatus_p.h"
#include "QVFoundation/platform/files/MimeTypes_p.h"
#include "QVFoundation/platform/runtime/NSErrorKeys.h"

namespace QVFoundation {

namespace {

using Status = struct statx;

/// One value: what the system has to be asked for it, and how it follows from the answer.
struct ResourceKey {
  std::string_view name;
  unsigned mask;
  Value (*read)(const NSURL& url, const Status& status);
};

bool isKind(const Status& status, unsigned kind) { return (status.stx_mode & S_IFMT) == kind; }

Value sizeOf(const NSURL& /*url*/, const Status& status) {
  return isKind(status, S_IFDIR) ? Value() : Value(std::uint64_t{status.stx_size});
}

template <unsigned kind>
Value hasKind(const NSURL& /*url*/, const Status& status) {
  return isKind(status, kind);
}

Value nameOf(const NSURL& url, const Status& /*status*/) { return url.lastPathComponent(); }

Value allocatedSizeOf(const NSURL& /*url*/, const Status& status) { return detail::allocatedSize(status); }

Value creationDateOf(const NSURL& /*url*/, const Status& status) {
  return (status.stx_mask & STATX_BTIME) != 0 ? Value(detail::dateOfTimestamp(status.stx_btime)) : Value();
}

Value modificationDateOf(const NSURL& /*url*/, const Status& status) {
  return detail::dateOfTimestamp(status.stx_mtime);
}

Value typeOf(const NSURL& url, const Status& status) {
  return detail::MimeTypes::shared().typeForItem(status.stx_mode, url.lastPathComponent());
}

constexpr ResourceKey resourceKeys[] = {
    {NSURLNameKey, 0, nameOf},
    {NSURLFileSizeKey, STATX_TYPE | STATX_SIZE, sizeOf},
    {NSURLTotalFileSizeKey, STATX_TYPE | STATX_SIZE, sizeOf},
    {NSURLFileAllocatedSizeKey, STATX_BLOCKS, allocatedSizeOf},
    {NSURLIsDirectoryKey, STATX_TYPE, hasKind<S_IFDIR>},
    {NSURLIsRegularFileKey, STATX_TYPE, hasKind<S_IFREG>},
    {NSURLIsSymbolicLinkKey, STATX_TYPE, hasKind<S_IFLNK>},
    {NSURLCreationDateKey, STATX_BTIME, creationDateOf},
    {NSURLContentModificationDateKey, STATX_MTIME, modificationDateOf},
    {NSURLTypeIdentifierKey, STATX_TYPE, typeOf},
};

NSError unknownKeyError(std::string_view key) {
  return {NSCocoaErrorDomain,
          NSFileReadUnknownError,
          {{NSLocalizedDescriptionKey, "There is no resource value \"" + std::string(key) + "\"."}}};
}

/// Asks the system for what a URL leads to; what went wrong where that is not possible.
std::optional<NSError> readStatus(const NSURL& url, detail::FollowLinks follow, unsigned mask,
                                  Status& status) {
  if (!url.isFileURL()) return detail::unsupportedSchemeError(url.absoluteString());
  if (detail::FileLocation(url.path()).status(follow, mask, status) == 0) return {};
  return detail::fileReadError(url.path(), errno);
}

/// Tells those who want to know.
void report(NSError problem, std::optional<NSError>* error) {
  if (error != nullptr) *error = std::move(problem);
}

}  // namespace

Value NSURL::resourceValueForKey(std::string_view key, std::optional<NSError>* error) const {
  const auto* found = std::ranges::find(resourceKeys, key, &ResourceKey::name);
  if (found == std::end(resourceKeys)) {
    report(unknownKeyError(key), error);
    return {};
  }
  Status status{};
  if (auto problem = readStatus(*this, detail::FollowLinks::no, found->mask, status)) {
    report(std::move(*problem), error);
    return {};
  }
  return found->read(*this, status);
}

bool NSURL::checkResourceIsReachable(std::optional<NSError>* error) const {
  Status status{};
  auto problem = readStatus(*this, detail::FollowLinks::yes, 0, status);
  if (!problem) return true;
  report(std::move(*problem), error);
  return false;
}

}  // namespace QVFoundation
