#include "QVFoundation/collections/QVCollectionMatching.h"

namespace QVFoundation::detail {

bool isUndefinedKey(const NSException& exception) { return exception.name() == NSUndefinedKeyException; }

}  // namespace QVFoundation::detail
