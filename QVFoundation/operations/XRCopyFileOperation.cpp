#include "QVFoundation/operations/XRCopyFileOperation.h"

#include <cerrno>
#include <utility>

#include "QVFoundation/errors/QVErrorConstructors.h"
#include "QVFoundation/operations/QVCalculateFolderSizeOperation.h"
#include "QVFoundation/platform/application/LocalizedText_p.h"
#include "QVFoundation/platform/copying/CopyEngine_p.h"
#include "QVFoundation/platform/files/FileErrors_p.h"
#include "QVFoundation/platform/files/FileLocation_p.h"
#include "QVFoundation/platform/files/FileStatus_p.h"
#include "QVFoundation/platform/runtime/ChangeNotice.h"
#include "QVFoundation/platform/runtime/FatalError.h"

namespace QVFoundation {

using namespace std::chrono_literals;
using detail::CopyAnswer;
using detail::CopyEvent;
using detail::CopyItem;
using detail::CopyStage;

namespace {

// People cannot read faster, and the many small files of a tree do not pay for it.
constexpr auto timeBetweenShownFiles = 50ms;

NSError copyError(std::string_view path, int code) {
  const auto reason = POSIXError(code);
  // For translators: the path of a file, and why it could not be copied.
  return errorWithDomain(
      NSPOSIXErrorDomain, code,
      detail::localizedText("Could not copy file %@ (%@)", path,
                            reason ? reason->localizedDescription() : std::to_string(code)),
      {});
}

/// The logical size of an item that is no folder; nothing for a folder, and where there is no such item.
std::optional<std::int64_t> sizeOfSingleItem(PathView path) {
  struct statx status{};
  if (detail::FileLocation(path).status(detail::FollowLinks::no, STATX_TYPE | STATX_SIZE, status) != 0)
    return {};
  if (detail::isDirectory(status)) return {};
  return static_cast<std::int64_t>(status.stx_size);
}

}  // namespace

XRCopyFileDelegate::~XRCopyFileDelegate() = default;

const NSClass& XRCopyFileOperation::staticClass() {
  static const NSClass& cls =
      *new NSClass(NSClass::define<XRCopyFileOperation>("XRCopyFileOperation", QVOperation::staticClass())
                       .readOnly("sourceURL", &XRCopyFileOperation::sourceURL)
                       .readOnly("destinationURL", &XRCopyFileOperation::destinationURL)
                       .readOnly("cloneIfPossible", &XRCopyFileOperation::cloneIfPossible)
                       .property("didPerformClone", &XRCopyFileOperation::didPerformClone,
                                 &XRCopyFileOperation::setDidPerformClone));
  return cls;
}

XRCopyFileOperation::XRCopyFileOperation(NSURL sourceURL, NSURL destinationURL,
                                         CloneIfPossible cloneIfPossible)
    : QVOperation("XRCopyFileOperation"),
      source_(std::move(sourceURL)),
      destination_(std::move(destinationURL)),
      cloneIfPossible_(cloneIfPossible) {}

void XRCopyFileOperation::setDidPerformClone(bool didPerformClone) {
  const ChangeNotice notice(*this, "didPerformClone");
  didPerformClone_ = didPerformClone;
}

std::optional<std::string> XRCopyFileOperation::currentFilePath() const {
  return currentFilePath_.empty() ? std::nullopt : std::optional(currentFilePath_);
}

// The engine tells of each failure, so what it returns says nothing new.
void XRCopyFileOperation::perform() {
  for (const NSURL& url : {source_, destination_}) {
    if (!url.isFileURL()) throw NSError(detail::unsupportedSchemeError(url.absoluteString()));
  }
  counted_ = progress();
  measure();
  const detail::CopyOptions options{
      .method = cloneIfPossible() ? detail::CopyMethod::clone : detail::CopyMethod::copy,
      .flushPolicy = flushPolicy_};
  (void)detail::copyItem(
      source_, destination_, options,
      [this](const CopyEvent& event) { return hear(event) ? CopyAnswer::goOn : CopyAnswer::quit; }, report_);
  if (fileCopyError_) throw NSError(*fileCopyError_);
}

void XRCopyFileOperation::measure() {
  const auto measured =
      performSubOperation(std::make_shared<QVCalculateFolderSizeOperation>(source_), std::int64_t{0});
  counted_->setTotalUnitCount(sizeOfSingleItem(source_).value_or(measured));
}

/// Returns whether to go on.
bool XRCopyFileOperation::hear(const CopyEvent& event) {
  const int code = errno;  // of the stage `error`, before anything here can change it
  const std::string_view path = event.source.empty() ? "unknown" : event.source;
  if (event.stage == CopyStage::error) {
    keepFirst(copyError(path, code));
    return false;
  }
  if (event.item == CopyItem::file && event.stage == CopyStage::start) beginFile(path);
  if (event.item == CopyItem::file && event.stage == CopyStage::finish) currentFilePath_.clear();
  if (event.item == CopyItem::data && event.stage == CopyStage::progress) addBytes(event.copied);
  if (auto error = checkForCancellation()) {  // waits here while paused
    keepFirst(std::move(*error));
    return false;
  }
  return true;
}

void XRCopyFileOperation::beginFile(std::string_view path) {
  lastKnownBytes_ = 0;
  currentFilePath_ = path;
  isCurrentFileShown_ = false;
  showCurrentFile();
}

void XRCopyFileOperation::addBytes(std::int64_t copied) {
  std::int64_t added = 0;
  std::int64_t sum = 0;
  if (__builtin_sub_overflow(copied, lastKnownBytes_, &added) ||
      __builtin_add_overflow(counted_->completedUnitCount(), added, &sum)) {
    fatalError("More bytes of " + currentFilePath_ + " were copied than can be counted");
  }
  counted_->addCompletedUnitCount(added);
  lastKnownBytes_ = copied;
  showCurrentFile();  // one that began too soon after another, and takes its time
  if (const auto delegate = copyDelegate()) delegate->copyFileOperationDidUpdateProgress(*this);
}

void XRCopyFileOperation::showCurrentFile() {
  if (isCurrentFileShown_) return;
  const auto now = std::chrono::steady_clock::now();
  if (now < nextShow_) return;
  nextShow_ = now + timeBetweenShownFiles;
  isCurrentFileShown_ = true;
  updateLocalizedAdditionalDescription(currentFilePath_);
}

void XRCopyFileOperation::keepFirst(NSError error) {
  if (!fileCopyError_) fileCopyError_ = std::move(error);
}

}  // namespace QVFoundation
