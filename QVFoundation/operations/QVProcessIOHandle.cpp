#include "QVFoundation/operations/QVProcessIOHandle.h"

namespace QVFoundation {

QVProcessIOHandle::~QVProcessIOHandle() = default;

}  // namespace QVFoundation
