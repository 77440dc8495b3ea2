#pragma once

#include <memory>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/NSValueTransformer.h"

namespace QVFoundation {

/// Transformers in a row: each gets what the one before it has made. Without any, a value passes as it is.
/// That is what names get that ask for "QVCompound".
///
/// Threads: `transformedValue` from any thread; the transformers are set before others have this one.
class QV_EXPORT QVCompoundValueTransformer : public NSValueTransformer {
public:
  using Transformers = std::vector<std::shared_ptr<NSValueTransformer>>;

  static const NSClass& staticClass();
  [[nodiscard]] const NSClass& dynamicClass() const override { return staticClass(); }

  [[nodiscard]] const Transformers& subTransformers() const noexcept { return subTransformers_; }
  /// Null pointers are left out.
  void setSubTransformers(Transformers subTransformers);

  [[nodiscard]] Value transformedValue(const Value& value) const override;

private:
  Transformers subTransformers_;
};

}  // namespace QVFoundation
