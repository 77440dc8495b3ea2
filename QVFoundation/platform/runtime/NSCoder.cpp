#include "QVFoundation/platform/runtime/NSCoder.h"

#include "QVFoundation/platform/runtime/NSSecureCoding.h"

namespace QVFoundation {

NSCoder::~NSCoder() = default;

NSSecureCoding::~NSSecureCoding() = default;

}  // namespace QVFoundation
