#include "QVFoundation/platform/concurrency/Scheduler.h"

namespace QVFoundation {

Scheduler::~Scheduler() = default;

}  // namespace QVFoundation
