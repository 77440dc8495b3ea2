#pragma once

#include <cstdint>
#include <memory>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/NSValueTransformer.h"
#include "QVFoundation/values/QVValueTransformers.h"

namespace QVFoundation {

/// Makes numbers or data of hexadecimal text, as `hexStringUnsignedLongLong` and `hexStringData` do.
///
/// Names may ask for it as "QVHexString-unsignedLongLong" and "QVHexString-data".
///
/// Threads: `transformedValue` from any thread; the type is set before others have the transformer.
class QV_EXPORT QVHexStringValueTransformer : public NSValueTransformer {
public:
  enum class ResultType : std::uint64_t {
    unsignedLongLong,  ///< an unsigned number of 64 bits; zero for what is no hexadecimal text
    data,              ///< nothing for what is no hexadecimal text
  };

  explicit QVHexStringValueTransformer(ResultType resultType = ResultType::unsignedLongLong) noexcept
      : resultType_(resultType) {}

  static const NSClass& staticClass();
  [[nodiscard]] const NSClass& dynamicClass() const override { return staticClass(); }

  /// A transformer of the type that the one component names, "unsignedLongLong" or "data"; null for any other,
  /// or for more or fewer of them.
  [[nodiscard]] static std::shared_ptr<NSValueTransformer> qv_valueTransformerWithComponents(
      const QVValueTransformerComponents& components);

  [[nodiscard]] ResultType resultType() const noexcept { return resultType_; }
  /// A number that is no type makes nothing of anything.
  void setResultType(ResultType resultType);

  /// Of anything but text, nothing.
  [[nodiscard]] Value transformedValue(const Value& value) const override;

private:
  ResultType resultType_;
};

}  // namespace QVFoundation
