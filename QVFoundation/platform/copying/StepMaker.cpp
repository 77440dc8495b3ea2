#include <cerrno>
#include <fcntl.h>
#include <string>
#include <utility>
#include <vector>

#include "QVFoundation/platform/copying/FileStep_p.h"
#include "QVFoundation/platform/copying/HardLinkStep_p.h"
#include "QVFoundation/platform/copying/SpecialItemStep_p.h"
#include "QVFoundation/platform/copying/StepMaker_p.h"

namespace QVFoundation::detail {

std::unique_ptr<CopyStep> StepMaker::stepFor(int folder, const char* name, NSFileType type,
                                             CopyTarget target) const {
  struct stat status{};
  auto step = firstStepFor(folder, name, type, target, status);
  const bool isFirst = step == nullptr || status.st_nlink < 2 || target.isRoot ||
                       !run_.hardLinks.meet(status, run_.below(target.source));
  if (isFirst) return step;
  return std::make_unique<HardLinkStep>(run_, std::move(target), status, std::move(step));
}

std::unique_ptr<CopyStep> StepMaker::firstStepFor(int folder, const char* name, NSFileType type,
                                                  const CopyTarget& target, struct stat& status) const {
  if (type == NSFileType::regular) return fileStepFor(folder, name, target, status);
  if (ItemHandle(folder, name).status(status) != 0) return nullptr;
  if (S_ISREG(status.st_mode)) return fileStepFor(folder, name, target, status);
  if (!S_ISDIR(status.st_mode)) return specialStepFor(folder, name, target, status);
  errno = EISDIR;  // a moment ago it was none
  return nullptr;
}

std::unique_ptr<CopyStep> StepMaker::fileStepFor(int folder, const char* name, const CopyTarget& target,
                                                 struct stat& status) const {
  Descriptor source = openSource(folder, name);
  if (!source.isOpen() || systemCalls().stat(source.number(), &status) != 0) return nullptr;
  if (S_ISREG(status.st_mode)) return std::make_unique<FileStep>(run_, target, std::move(source), status);
  errno = ESTALE;
  return nullptr;
}

std::unique_ptr<CopyStep> StepMaker::specialStepFor(int folder, const char* name, const CopyTarget& target,
                                                    const struct stat& status) const {
  std::string text;
  if (S_ISLNK(status.st_mode) && FileLocation(folder, name).readLink(text) != 0) return nullptr;
  std::vector<CopyLoss> losses;
  ItemMetadata metadata(ItemHandle(folder, name), status, target.source, losses);
  return std::make_unique<SpecialItemStep>(run_, target, std::move(metadata), std::move(text),
                                           std::move(losses));
}

/// Not waiting for whoever writes to a pipe that may have come into its place; and, where that is allowed,
/// without a note of when it was read.
Descriptor StepMaker::openSource(int folder, const char* name) const {
  constexpr int flags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK;
  if (CopyAbilities::can(run_.abilities.quietReads)) {
    Descriptor source = open(folder, name, flags | O_NOATIME);
    if (source.isOpen() || (errno != EPERM && errno != EAGAIN)) return source;
    if (errno == EPERM) CopyAbilities::refuse(run_.abilities.quietReads);
  }
  Descriptor source = open(folder, name, flags);
  return source.isOpen() || errno != EAGAIN ? std::move(source) : openLeased(folder, name);
}

/// A file that somebody has leased (fcntl(2)) is given back to an open that waits for it.
Descriptor StepMaker::openLeased(int folder, const char* name) const {
  const Descriptor item = open(folder, name, O_PATH | O_NOFOLLOW);
  struct stat status{};
  if (!item.isOpen() || systemCalls().stat(item.number(), &status) != 0) return {};
  if (S_ISREG(status.st_mode)) {
    return FileLocation("/proc/self/fd/" + std::to_string(item.number())).open(O_RDONLY);
  }
  errno = EAGAIN;
  return {};
}

Descriptor StepMaker::open(int folder, const char* name, int flags) const {
  const FileLocation location(folder, name);
  Descriptor opened = location.open(flags);
  if (opened.isOpen() || !meansTooManyOpen(errno) || !run_.queue.finishAll()) return opened;
  return location.open(flags);
}

}  // namespace QVFoundation::detail
