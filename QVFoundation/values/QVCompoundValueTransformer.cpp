#include "QVFoundation/values/QVCompoundValueTransformer.h"

#include <utility>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/values/QVValueTransformers.h"

namespace QVFoundation {

namespace {

[[maybe_unused]] const bool compoundIsRegistered =
    qv_registerValueTransformerClass<QVCompoundValueTransformer>();

}  // namespace

const NSClass& QVCompoundValueTransformer::staticClass() {
  static const NSClass& cls =
      *new NSClass(NSClass::define<QVCompoundValueTransformer>("QVCompoundValueTransformer",
                                                               NSValueTransformer::staticClass())
                       .property("subTransformers", &QVCompoundValueTransformer::subTransformers,
                                 &QVCompoundValueTransformer::setSubTransformers));
  return cls;
}

void QVCompoundValueTransformer::setSubTransformers(Transformers subTransformers) {
  const ChangeNotice notice(*this, "subTransformers");
  std::erase(subTransformers, nullptr);
  subTransformers_ = std::move(subTransformers);
}

Value QVCompoundValueTransformer::transformedValue(const Value& value) const {
  Value result = value;
  for (const auto& transformer : subTransformers_) result = transformer->transformedValue(result);
  return result;
}

}  // namespace QVFoundation
