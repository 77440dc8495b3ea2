#include "QVFoundation/platform/concurrency/TaskSuspension.h"

#include "QVFoundation/platform/concurrency/TaskContext.h"
#include "QVFoundation/platform/concurrency/TaskPromise.h"

namespace QVFoundation::detail {

void TaskSuspension::wake(TaskPromise& coroutine) noexcept { coroutine.context().resume(coroutine); }

}  // namespace QVFoundation::detail
