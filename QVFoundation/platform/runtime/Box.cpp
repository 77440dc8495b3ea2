#include "QVFoundation/platform/runtime/Box.h"

namespace QVFoundation::detail {

BoxNode::~BoxNode() = default;

}  // namespace QVFoundation::detail
