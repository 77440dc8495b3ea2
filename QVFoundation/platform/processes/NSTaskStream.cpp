#include "QVFoundation/platform/processes/NSTaskStream.h"

#include <utility>

#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {

namespace {

template <class Source>
std::shared_ptr<Source> required(std::shared_ptr<Source> source) {
  if (source == nullptr) throw NSException(NSInvalidArgumentException, "A stream of a task cannot be null");
  return source;
}

}  // namespace

NSTaskStream::NSTaskStream(std::shared_ptr<NSFileHandle> handle) : handle_(required(std::move(handle))) {}

NSTaskStream::NSTaskStream(std::shared_ptr<NSPipe> pipe) : pipe_(required(std::move(pipe))) {}

}  // namespace QVFoundation
