#include "QVFoundation/logging/QVLogNoFilter.h"

namespace QVFoundation {

bool QVLogNoFilter::filterAllowsMessage(std::optional<std::string_view> /*message*/,
                                        QVLoggerLevel /*level*/) {
  return true;
}

}  // namespace QVFoundation
