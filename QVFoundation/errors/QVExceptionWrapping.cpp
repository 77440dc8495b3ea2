#include "QVFoundation/errors/QVExceptionWrapping.h"

namespace QVFoundation {

void QVThrowTestException() { throw NSException(NSInternalInconsistencyException, "Test exception"); }

}  // namespace QVFoundation
