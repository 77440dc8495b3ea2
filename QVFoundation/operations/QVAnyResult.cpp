#include "QVFoundation/operations/QVAnyResult.h"

namespace QVFoundation {

QVAnyResult::Content::~Content() = default;

}  // namespace QVFoundation
