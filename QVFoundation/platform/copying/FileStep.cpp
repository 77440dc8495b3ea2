#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

#include "QVFoundation/platform/copying/FileStep_p.h"
#include "QVFoundation/platform/copying/ItemMetadata_p.h"
#include "QVFoundation/platform/copying/NewFile_p.h"

namespace QVFoundation::detail {

namespace {

constexpr off_t mostAhead = off_t{1} << 20;
/// Of those of one batch that goes to the device together.
constexpr off_t mostAheadOfDevice = off_t{128} << 10;

/// Those that a file which nobody can open yet may have from the beginning.
constexpr mode_t permissions = S_IRWXU | S_IRWXG | S_IRWXO;

}  // namespace

bool FileStep::canBePrepared() const noexcept {
  if (run_.options.flushPolicy == CopyFlushPolicy::cached) return status_.st_size <= mostAhead;
  return status_.st_size <= mostAheadOfDevice && !target_.isRoot;
}

void FileStep::prepare(CopyBuffer& buffer) noexcept {
  try {
    code_ = copy(buffer, {});
  } catch (const std::bad_alloc&) {
    code_ = ENOMEM;
  }
}

bool FileStep::finish(CopyBuffer& buffer) {
  if (!run_.tell(CopyItem::file, CopyStage::start, target_.source)) return false;
  bool isPrepared = canBePrepared();
  if (isPrepared && meansTooManyOpen(code_)) {
    run_.queue.prepareAll();  // so that nobody else takes what becomes free
    run_.makeRoom();
    code_ = copy(buffer, {});
    run_.keepRoom();
  }
  if (!isPrepared || code_ == ECANCELED) {  // or it has grown meanwhile
    isPrepared = false;
    code_ = copyWithProgress(buffer);
  }
  if (isPrepared && code_ == 0) code_ = run_.awaitWritten(number_, target_.folder->number());
  if (run_.result() != 0) return false;
  if (code_ != 0) return run_.fail(CopyItem::file, target_.source, code_);
  if (target_.isRoot) run_.setRoot(made_);
  count();
  // What was measured, whatever has become of the file since.
  if (told_ < status_.st_size &&
      !run_.tell(CopyItem::data, CopyStage::progress, target_.source, status_.st_size)) {
    return false;
  }
  return run_.tell(CopyItem::file, CopyStage::finish, target_.source);
}

int FileStep::copyWithProgress(CopyBuffer& buffer) {
  return copy(buffer, [this](std::int64_t copied) {
    // Also where it has grown, and there is nothing new to count: somebody may wish to stop it.
    told_ = std::max(told_, std::min<std::int64_t>(copied, status_.st_size));
    return run_.tell(CopyItem::data, CopyStage::progress, target_.source, told_);
  });
}

int FileStep::copy(CopyBuffer& buffer, const ContentCopy::Progress& progress) {
  int code = copyOnce(buffer, progress);
  if (code == NewFile::onceMore) code = copyOnce(buffer, progress);
  if (!meansTooManyOpen(code) && code != ECANCELED) source_.close();
  return code;
}

int FileStep::copyOnce(CopyBuffer& buffer, const ContentCopy::Progress& progress) {
  losses_.clear();
  if (std::exchange(isRead_, true) && systemCalls().seek(source_.number(), 0, SEEK_SET) != 0) return errno;
  NewFile file(target_.folder->number(), run_.abilities);
  if (const int code = file.open(target_.name, status_.st_mode & permissions); code != 0) return code;
  ContentCopy content(source_.number(), file.descriptor(), status_, run_.options, run_.abilities, buffer,
                      progress);
  if (const int code = content.run(); code != 0) return code;
  way_ = content.way();
  size_ = content.size();
  keepMetadata(ItemHandle(file.descriptor()));
  return file.place(target_.name.c_str());
}

void FileStep::keepMetadata(const ItemHandle& file) {
  if (target_.isRoot) removeAccessList(file);
  const ItemMetadata metadata(ItemHandle(source_.number()), status_, target_.source, losses_);
  metadata.applyTo(file, target_.source, losses_);
  if (status_.st_nlink > 1 || target_.isRoot) static_cast<void>(file.status(made_));
}

void FileStep::count() {
  CopyReport& report = run_.report();
  CopyReport::Amount& amount = way_ == ContentCopy::Way::cloned      ? report.cloned
                               : way_ == ContentCopy::Way::offloaded ? report.offloaded
                                                                     : report.copied;
  ++amount.files;
  amount.bytes += static_cast<std::uint64_t>(size_);
  run_.addLosses(std::move(losses_));
  if (status_.st_nlink > 1) run_.hardLinks.setMade(status_, made_, run_.below(target_.source));
}

}  // namespace QVFoundation::detail
