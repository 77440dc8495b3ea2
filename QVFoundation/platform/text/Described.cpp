#include "QVFoundation/platform/text/Described.h"

#include <ostream>

namespace QVFoundation::detail {

std::ostream& writeDescription(std::ostream& stream, std::string_view description) {
  return stream << description;
}

}  // namespace QVFoundation::detail
