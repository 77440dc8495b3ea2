#include "QVFoundation/platform/application/Scheduler.h"

namespace QVFoundation {

Scheduler::~Scheduler() = default;

}  // namespace QVFoundation
