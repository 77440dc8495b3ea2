#include <algorithm>
#include <cerrno>
#include <iterator>
#include <thread>
#include <utility>

#include "QVFoundation/platform/copying/CopyRun_p.h"
#include "QVFoundation/platform/files/PathComponentReader_p.h"

namespace QVFoundation::detail {

namespace {

unsigned otherProcessors() noexcept {
  static const unsigned count = std::max(std::thread::hardware_concurrency(), 1U) - 1;  // a look into a file
  return count;
}

}  // namespace

CopyRun::CopyRun(PathView source, PathView destination, const CopyOptions& wanted,
                 const CopyCallback& callback, CopyReport& report)
    : options(wanted),
      queue(std::min(wanted.helpers, otherProcessors())),
      sourceLength_(withoutFinalSlashes(source) == "/" ? 0 : withoutFinalSlashes(source).size()),
      destination_(withoutFinalSlashes(destination)),
      destinationLength_(destination_.size()),
      callback_(callback),
      report_(report) {}

bool CopyRun::tell(CopyItem item, CopyStage stage, const std::string& source, std::int64_t copied) {
  destination_.resize(destinationLength_);
  destination_ += below(source);
  const CopyEvent event{
      .item = item, .stage = stage, .source = source, .destination = destination_, .copied = copied};
  if (stage == CopyStage::error) errno = result_;
  isInCallback_ = true;
  const CopyAnswer answer = callback_(event);
  isInCallback_ = false;
  if (answer == CopyAnswer::goOn) return true;
  if (result_ == 0) result_ = ECANCELED;
  return false;
}

bool CopyRun::fail(CopyItem item, const std::string& source, int code) {
  if (result_ != 0) return false;  // it has been told to end
  result_ = code;
  static_cast<void>(tell(item, CopyStage::error, source));
  return false;
}

void CopyRun::addLosses(std::vector<CopyLoss> losses) {
  report_.lossCount += losses.size();
  const std::size_t room = CopyReport::mostLosses - report_.losses.size();
  losses.resize(std::min(room, losses.size()));
  std::ranges::move(losses, std::back_inserter(report_.losses));
}

int CopyRun::awaitWritten(std::uint64_t step, int folder) {
  if (options.flushPolicy == CopyFlushPolicy::cached || step < writtenSteps_) return 0;
  queue.prepareAll();
  writtenSteps_ = queue.addedCount();
  return syncVolume(folder);
}

int CopyRun::syncVolume(int folder) const {
  return uninterrupted([&] { return systemCalls().syncVolume(folder); }) == 0 ? 0 : errno;
}

}  // namespace QVFoundation::detail
