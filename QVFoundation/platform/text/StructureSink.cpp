#include "QVFoundation/platform/text/StructureSink.h"

namespace QVFoundation {

StructureSink::~StructureSink() = default;

}  // namespace QVFoundation
