#include "QVFoundation/operations/QVAnyProcessIOHandle.h"

#include <utility>

#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {

namespace {

/// Passed on as it is: what is left in it is for others to read.
class PlainIOHandle final : public QVProcessIOHandle {
public:
  explicit PlainIOHandle(NSTaskStream stream) : stream_(std::move(stream)) {}
  [[nodiscard]] NSTaskStream handle() const override { return stream_; }
  void readToEndSync() override {}

private:
  const NSTaskStream stream_;
};

}  // namespace

QVAnyProcessIOHandle::QVAnyProcessIOHandle(std::shared_ptr<NSFileHandle> handle)
    : handle_(std::make_shared<PlainIOHandle>(NSTaskStream(std::move(handle)))) {}

QVAnyProcessIOHandle::QVAnyProcessIOHandle(std::shared_ptr<NSPipe> pipe)
    : handle_(std::make_shared<PlainIOHandle>(NSTaskStream(std::move(pipe)))) {}

std::shared_ptr<QVProcessIOHandle> QVAnyProcessIOHandle::required(
    std::shared_ptr<QVProcessIOHandle> adopter) {
  if (adopter == nullptr)
    throw NSException(NSInvalidArgumentException, "A stream of a process cannot be null");
  return adopter;
}

}  // namespace QVFoundation
