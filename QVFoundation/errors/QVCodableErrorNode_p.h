#pragma once

#include "QVFoundation/errors/QVCodableError.h"
#include "QVFoundation/platform/runtime/SharedNode.h"

namespace QVFoundation::detail {

struct CodableErrorNode final : Node {
  explicit CodableErrorNode(QVCodableError::Fields content) : fields(std::move(content)) {}
  QVCodableError::Fields fields;
};

}  // namespace QVFoundation::detail
