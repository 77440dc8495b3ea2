#include "QVFoundation/platform/serialization/StructureSink.h"

namespace QVFoundation {

StructureSink::~StructureSink() = default;

}  // namespace QVFoundation
