#include <utility>

#include "QVFoundation/platform/application/NSProgressKeys.h"
#include "QVFoundation/platform/application/NSProgressState_p.h"
#include "QVFoundation/platform/runtime/ChangeNotice.h"

namespace QVFoundation {

namespace {

std::optional<double> secondsOf(const NSProgress& progress) {
  const auto time = progress.estimatedTimeRemaining();
  return time ? std::optional(time->count()) : std::nullopt;
}

void setSecondsOf(NSProgress& progress, std::optional<double> seconds) {
  progress.setEstimatedTimeRemaining(seconds ? std::optional(std::chrono::duration<double>(*seconds))
                                             : std::nullopt);
}

}  // namespace

const NSClass& NSProgress::staticClass() {
  static const NSClass& cls = *new NSClass(
      NSClass::define<NSProgress>("NSProgress", NSObject::staticClass())
          .property("totalUnitCount", &NSProgress::totalUnitCount, &NSProgress::setTotalUnitCount)
          .property("completedUnitCount", &NSProgress::completedUnitCount, &NSProgress::setCompletedUnitCount)
          .readOnly("fractionCompleted", &NSProgress::fractionCompleted)
          .readOnly("isIndeterminate", &NSProgress::isIndeterminate)
          .readOnly("isFinished", &NSProgress::isFinished)
          .readOnly("isCancelled", &NSProgress::isCancelled)
          .readOnly("isPaused", &NSProgress::isPaused)
          .property("isCancellable", &NSProgress::isCancellable, &NSProgress::setCancellable)
          .property("isPausable", &NSProgress::isPausable, &NSProgress::setPausable)
          .property("kind", &NSProgress::kind, &NSProgress::setKind)
          .readOnly("userInfo", &NSProgress::userInfo)
          .property("throughput", &NSProgress::throughput, &NSProgress::setThroughput)
          .affectedBy({"userInfo"})
          .property("estimatedTimeRemaining", secondsOf, setSecondsOf)
          .affectedBy({"userInfo"})
          .property("fileOperationKind", &NSProgress::fileOperationKind, &NSProgress::setFileOperationKind)
          .affectedBy({"userInfo"})
          .property("fileTotalCount", &NSProgress::fileTotalCount, &NSProgress::setFileTotalCount)
          .affectedBy({"userInfo"})
          .property("fileCompletedCount", &NSProgress::fileCompletedCount, &NSProgress::setFileCompletedCount)
          .affectedBy({"userInfo"})
          .property("localizedDescription", &NSProgress::localizedDescription,
                    &NSProgress::setLocalizedDescription)
          .affectedBy({"fractionCompleted", "isIndeterminate", "kind", "userInfo"})
          .property("localizedAdditionalDescription", &NSProgress::localizedAdditionalDescription,
                    &NSProgress::setLocalizedAdditionalDescription)
          .affectedBy({"totalUnitCount", "completedUnitCount", "kind", "userInfo"}));
  return cls;
}

NSProgress::Details& NSProgress::details() {
  if (details_ == nullptr) details_ = std::make_unique<Details>();
  return *details_;
}

template <class Content>
Content NSProgress::detail(Content Details::* detail) const {
  const UnfairLockGuard guard(lock_);
  return details_ != nullptr ? (*details_).*detail : Content();
}

template <class Content>
void NSProgress::setDetail(std::string_view key, Content Details::* detail, Content content) {
  const ChangeNotice notice(*this, key);
  const UnfairLockGuard guard(lock_);
  std::swap(details().*detail, content);
}

std::string NSProgress::localizedDescription() const {
  auto text = detail(&Details::description);
  return text ? *std::move(text) : defaultDescription();
}
void NSProgress::setLocalizedDescription(std::optional<std::string> description) {
  setDetail("localizedDescription", &Details::description, std::move(description));
}

std::string NSProgress::localizedAdditionalDescription() const {
  auto text = detail(&Details::additionalDescription);
  return text ? *std::move(text) : defaultAdditionalDescription();
}
void NSProgress::setLocalizedAdditionalDescription(std::optional<std::string> description) {
  setDetail("localizedAdditionalDescription", &Details::additionalDescription, std::move(description));
}

std::optional<std::string> NSProgress::kind() const { return detail(&Details::kind); }
void NSProgress::setKind(std::optional<std::string> kind) {
  setDetail("kind", &Details::kind, std::move(kind));
}

Dictionary NSProgress::userInfo() const { return detail(&Details::userInfo); }

void NSProgress::setUserInfoObject(const Value& object, std::string_view forKey) {
  const ChangeNotice notice(*this, "userInfo");
  Dictionary replaced;  // goes after the lock
  const UnfairLockGuard guard(lock_);
  Dictionary& userInfo = details().userInfo;
  replaced = userInfo;
  if (object.isNothing()) {
    userInfo.remove(forKey);
  } else {
    userInfo.set(forKey, object);
  }
}

std::optional<std::int64_t> NSProgress::throughput() const {
  return userInfo()[NSProgressThroughputKey].as<std::int64_t>();
}
void NSProgress::setThroughput(std::optional<std::int64_t> unitsPerSecond) {
  setUserInfoObject(unitsPerSecond, NSProgressThroughputKey);
}

std::optional<std::chrono::duration<double>> NSProgress::estimatedTimeRemaining() const {
  const auto seconds = userInfo()[NSProgressEstimatedTimeRemainingKey].as<double>();
  return seconds ? std::optional(std::chrono::duration<double>(*seconds)) : std::nullopt;
}
void NSProgress::setEstimatedTimeRemaining(std::optional<std::chrono::duration<double>> time) {
  setUserInfoObject(time ? Value(time->count()) : Value(), NSProgressEstimatedTimeRemainingKey);
}

std::optional<std::string> NSProgress::fileOperationKind() const {
  return userInfo()[NSProgressFileOperationKindKey].as<std::string>();
}
void NSProgress::setFileOperationKind(std::optional<std::string> kind) {
  setUserInfoObject(std::move(kind), NSProgressFileOperationKindKey);
}

std::optional<std::int64_t> NSProgress::fileTotalCount() const {
  return userInfo()[NSProgressFileTotalCountKey].as<std::int64_t>();
}
void NSProgress::setFileTotalCount(std::optional<std::int64_t> count) {
  setUserInfoObject(count, NSProgressFileTotalCountKey);
}

std::optional<std::int64_t> NSProgress::fileCompletedCount() const {
  return userInfo()[NSProgressFileCompletedCountKey].as<std::int64_t>();
}
void NSProgress::setFileCompletedCount(std::optional<std::int64_t> count) {
  setUserInfoObject(count, NSProgressFileCompletedCountKey);
}

}  // namespace QVFoundation
