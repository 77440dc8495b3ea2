#include "QVFoundation/values/QVHexStringValueTransformer.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/values/HexUtils.h"

namespace QVFoundation {

namespace {

// In the order of `ResultType`.
constexpr std::array<std::string_view, 2> resultTypeNames{"unsignedLongLong", "data"};

[[maybe_unused]] const bool hexStringIsRegistered =
    qv_registerValueTransformerClass<QVHexStringValueTransformer>();

}  // namespace

const NSClass& QVHexStringValueTransformer::staticClass() {
  static const NSClass& cls =
      *new NSClass(NSClass::define<QVHexStringValueTransformer>("QVHexStringValueTransformer",
                                                                NSValueTransformer::staticClass())
                       .property("resultType", &QVHexStringValueTransformer::resultType,
                                 &QVHexStringValueTransformer::setResultType));
  return cls;
}

std::shared_ptr<NSValueTransformer> QVHexStringValueTransformer::qv_valueTransformerWithComponents(
    const QVValueTransformerComponents& components) {
  if (!components || components->size() != 1) return nullptr;
  const auto name = std::ranges::find(resultTypeNames, components->front());
  if (name == resultTypeNames.end()) return nullptr;
  return std::make_shared<QVHexStringValueTransformer>(
      static_cast<ResultType>(name - resultTypeNames.begin()));
}

void QVHexStringValueTransformer::setResultType(ResultType resultType) {
  const ChangeNotice notice(*this, "resultType");
  resultType_ = resultType;
}

Value QVHexStringValueTransformer::transformedValue(const Value& value) const {
  const std::string* const text = value.text();
  if (text == nullptr) return {};
  switch (resultType_) {
    case ResultType::unsignedLongLong: return hexStringUnsignedLongLong(*text);
    case ResultType::data: return hexStringData(*text);
  }
  return {};
}

}  // namespace QVFoundation
