#include "QVFoundation/platform/concurrency/CancellationError.h"

namespace QVFoundation {

CancellationError::~CancellationError() = default;

}  // namespace QVFoundation
