#include "QVFoundation/files/PNAlias.h"

#include <algorithm>
#include <cerrno>
#include <sys/stat.h>
#include <utility>

#include "QVFoundation/errors/QVErrorConstructors.h"
#include "QVFoundation/files/QVPathUtilities.h"
#include "QVFoundation/platform/application/LocalizedText_p.h"
#include "QVFoundation/platform/files/FileErrors_p.h"
#include "QVFoundation/platform/files/FileLocation_p.h"
#include "QVFoundation/platform/files/PathComponents.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/platform/text/Format.h"

namespace QVFoundation {

namespace {

using detail::FileLocation;
using detail::FollowLinks;
using detail::localizedText;

/// How many links and alias files are followed in a row: as many as the kernel follows.
constexpr int mostSteps = 40;

constexpr std::int32_t notFoundStatus = -43, notPermittedStatus = -54, ioStatus = -36;

/// What kept a reference from being resolved, as a status of the system.
std::int32_t statusOf(const NSError& problem) {
  const auto causes = problem.underlyingErrors();
  const bool isFromSystem = !causes.empty() && causes.front().domain() == NSPOSIXErrorDomain;
  switch (isFromSystem ? causes.front().code() : EIO) {
    case ENOENT:
    case ENOTDIR: return notFoundStatus;
    case EACCES:
    case EPERM: return notPermittedStatus;
    default: return ioStatus;
  }
}

void handBack(std::optional<NSError>* error, const std::optional<NSError>& problem) {
  if (error != nullptr) *error = problem;
}

std::optional<std::filesystem::path> endOfAliasChain(std::filesystem::path path,
                                                     std::optional<NSError>& problem) {
  for (int steps = 0; FileReference::isAliasFile(path); ++steps) {
    if (steps == mostSteps) {
      problem = detail::fileReadError(path, ELOOP);
      return {};
    }
    auto reference = FileReference::fromAliasFile(path, &problem);
    const auto target = reference ? reference->resolve(&problem) : std::nullopt;
    if (!target) return {};
    path = target->path;
  }
  return path;
}

/// The way that a path takes through links and alias files.
class PathWalk {
public:
  explicit PathWalk(std::string_view askedFor) noexcept : askedFor_(askedFor) {}

  /// Goes on by one name. Throws what ends the walk.
  void take(const std::string& name) {
    if (name == "/") return;
    std::string candidate = resolved_ + '/' + name;
    for (int steps = 0;; ++steps) {
      // What a link does not lead to, or leads to in a circle, does not exist, deliberately: the name stays.
      if (!exists(candidate)) return keep(name);
      std::optional<std::string> destination = destinationOf(candidate, name);
      if (!destination) {
        if (steps == 0) resolved_ = std::move(candidate);
        return;
      }
      // No station is remembered, deliberately: one may be met again. Only their number is limited.
      if (steps == mostSteps) throw circularError();
      // The text of a link is taken as it stands, deliberately: without a slash at its beginning it is looked
      // for from the current folder, and in the result it begins at the root.
      candidate = *std::move(destination);
      resolve(candidate);
    }
  }

  [[nodiscard]] std::string path() const { return resolved_.empty() ? "/" : resolved_; }

private:
  static bool exists(const std::string& path) {
    struct statx status{};
    return FileLocation(path).status(FollowLinks::yes, STATX_TYPE, status) == 0;
  }

  /// Where a link or an alias file leads; nothing for other items.
  std::optional<std::string> destinationOf(const std::string& path, const std::string& name) {
    const FileLocation location(path);
    struct statx status{};
    if (location.status(FollowLinks::no, STATX_TYPE, status) != 0) {
      const int code = errno;
      keep(name);  // this error alone keeps the name at which it came, deliberately
      throw detail::fileReadError(path, code);
    }
    if (S_ISLNK(status.stx_mode)) {
      std::string text;
      if (location.readLink(text) != 0) throw detail::fileReadError(path, errno);
      return text;
    }
    if (!PNAlias::isAliasFileFromPath(path)) return {};
    std::optional<NSError> problem;
    const auto target = PNAlias::pathFromAliasFile(path, 0, &problem);
    if (!target) throw *problem;
    return target->native();
  }

  void keep(const std::string& name) { (resolved_ += '/') += name; }
  void resolve(const std::string& path) {
    resolved_ = qv_stringWithPathComponents(pathComponents(path));
    if (resolved_ == "/") resolved_.clear();
  }

  [[nodiscard]] NSError circularError() const {
    return errorWithDescription(
        localizedText("Path %@ contains circular alias/symlink references", askedFor_));
  }

  const std::string_view askedFor_;
  std::string resolved_;  // empty for the root
};

}  // namespace

bool PNFSRefFromPath(PathView path, FileReference& reference) {
  auto made = FileReference::referenceToPath(path);
  if (!made) return false;
  reference = *std::move(made);
  return true;
}

std::optional<std::filesystem::path> PNPathFromFSRef(const FileReference& reference) {
  FileReference current = reference;
  const auto found = current.resolve();
  return found ? std::optional(found->path) : std::nullopt;
}

const NSClass& PNAlias::staticClass() {
  static const NSClass& cls =
      *new NSClass(NSClass::define<PNAlias>("PNAlias", NSObject::staticClass())
                       .readOnly("aliasPath", [](const PNAlias& alias) { return alias.aliasPath().native(); })
                       .readOnly("aliasData", &PNAlias::aliasData));
  return cls;
}

bool PNAlias::isAliasFileFromPath(PathView path) { return FileReference::isAliasFile(path); }

std::optional<std::filesystem::path> PNAlias::pathFromAliasFile(PathView path, std::uint32_t /*withMount*/,
                                                                std::optional<NSError>* error) {
  const auto reference = FileReference::referenceToPath(path);
  if (!reference) {
    handBack(error,
             errorWithDescription(localizedText(
                 "Could not resolve alias file at %@ because a reference to the file could not be created",
                 path.text())));
    return {};
  }
  std::optional<NSError> problem;
  auto target = endOfAliasChain(reference->path(), problem);
  if (!target) {
    const std::int32_t status = statusOf(*problem);
    handBack(error, carbonError(status, localizedText("Could not resolve alias file at %@ (%d)", path.text(),
                                                      status)));
  }
  return target;
}

std::filesystem::path PNAlias::pathByResolvingSymlinksAndAliasesInPath(PathView path,
                                                                       std::optional<NSError>* error) {
  PathWalk walk(path);
  try {
    for (const std::string& component : pathComponents(path)) walk.take(component);
  } catch (const NSError& problem) {
    handBack(error, problem);
  }
  return walk.path();
}

std::shared_ptr<PNAlias> PNAlias::aliasOf(std::optional<FileReference> reference) {
  if (!reference) return nullptr;
  return aliasWithAliasHandle(std::make_shared<FileReference>(*std::move(reference)));
}

std::shared_ptr<PNAlias> PNAlias::aliasWithPath(std::optional<PathView> path, std::optional<NSError>* error) {
  if (!path) return nullptr;
  auto reference = FileReference::referenceToPath(*path);
  if (!reference) {
    handBack(error,
             carbonError(notFoundStatus,
                         localizedText("Could not create file system reference for path %@", path->text())));
  }
  return aliasOf(std::move(reference));
}

std::shared_ptr<PNAlias> PNAlias::aliasWithPath(PathView path, PathView relativeToPath) {
  if (!FileReference::referenceToPath(relativeToPath)) return nullptr;
  return aliasOf(FileReference::referenceToPath(path, relativeToPath));
}

std::shared_ptr<PNAlias> PNAlias::aliasWithURL(const NSURL& url) {
  return url.isFileURL() ? aliasWithPath(PathView(url)) : nullptr;
}

std::shared_ptr<PNAlias> PNAlias::aliasWithFSRef(const FileReference& reference,
                                                 std::optional<NSError>* error) {
  FileReference current = reference;
  std::optional<NSError> problem;
  if (current.resolve(&problem)) return aliasOf(std::move(current));
  handBack(error, carbonError(statusOf(*problem), localizedText("Alias could not be created")));
  return nullptr;
}

std::shared_ptr<PNAlias> PNAlias::aliasWithFSRef(const FileReference& reference,
                                                 const FileReference& relativeToFSRef) {
  const auto path = PNPathFromFSRef(reference), base = PNPathFromFSRef(relativeToFSRef);
  return path && base ? aliasWithPath(*path, *base) : nullptr;
}

std::shared_ptr<PNAlias> PNAlias::aliasWithData(std::span<const std::byte> data,
                                                std::optional<NSError>* error) {
  return aliasOf(FileReference::fromData(data, error));
}

std::shared_ptr<PNAlias> PNAlias::aliasWithAliasHandle(std::shared_ptr<FileReference> handle) {
  return handle != nullptr ? std::shared_ptr<PNAlias>(new PNAlias(std::move(handle))) : nullptr;
}

std::optional<std::filesystem::path> PNAlias::resolveAlias() { return resolveAliasRelativeToPath({}); }

std::optional<std::filesystem::path> PNAlias::resolveAliasWithNoUI() {
  return resolveAliasRelativeToPath({}, nullptr, noUserInteraction);
}

std::optional<std::filesystem::path> PNAlias::resolveAliasRelativeToPath(std::optional<PathView> path,
                                                                         bool* wasChanged,
                                                                         std::uint32_t /*mountFlags*/) {
  const bool hasBase = path && FileReference::referenceToPath(*path);
  const auto found = aliasHandle_->resolve(hasBase ? path : std::nullopt);
  if (wasChanged != nullptr) *wasChanged = found && found->changed;
  return found ? std::optional(found->path) : std::nullopt;
}

std::shared_ptr<NSObject> PNAlias::copy() const { return aliasOf(*aliasHandle_); }

std::string PNAlias::description() const {
  return stringWithFormat("<%@: %p aliasPath = %@>", className(), static_cast<const void*>(this),
                          aliasPath().native());
}

}  // namespace QVFoundation
