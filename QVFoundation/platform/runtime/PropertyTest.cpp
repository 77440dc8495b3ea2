#include "QVFoundation/platform/runtime/PropertyTest.h"

namespace QVFoundation::detail {

PropertyTest::~PropertyTest() = default;

}  // namespace QVFoundation::detail
