#include "QVFoundation/Version.h"

namespace QVFoundation {

std::string_view versionAtRunTime() noexcept { return version; }

}  // namespace QVFoundation
