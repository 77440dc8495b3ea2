#include "QVFoundation/operations/QVStopInDebugger.h"

namespace QVFoundation {

int QVStopInDebugger() noexcept { return 0; }

}  // namespace QVFoundation
