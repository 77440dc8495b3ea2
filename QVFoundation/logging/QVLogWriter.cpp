#include "QVFoundation/logging/QVLogWriter.h"

namespace QVFoundation {

QVLogWriter::~QVLogWriter() = default;

}  // namespace QVFoundation
