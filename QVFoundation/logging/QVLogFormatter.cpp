#include "QVFoundation/logging/QVLogFormatter.h"

namespace QVFoundation {

QVLogFormatter::~QVLogFormatter() = default;

}  // namespace QVFoundation
