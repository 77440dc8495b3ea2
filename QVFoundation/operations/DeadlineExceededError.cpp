#include "QVFoundation/operations/DeadlineExceededError.h"

namespace QVFoundation {

DeadlineExceededError::~DeadlineExceededError() = default;

}  // namespace QVFoundation
