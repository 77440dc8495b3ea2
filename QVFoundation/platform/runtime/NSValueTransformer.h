#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Value.h"

namespace QVFoundation {

/// Makes one value of another, such as the text that a control shows of a number. Transformers are registered
/// by name, so that descriptions of a user interface can name them.
///
/// ```cpp
/// class NegateValueTransformer : public NSValueTransformer {
/// public:
///   static const NSClass& staticClass();
///   const NSClass& dynamicClass() const override { return staticClass(); }
///   Value transformedValue(const Value& value) const override { return !value.as<bool>().value_or(false); }
/// };
///
/// NSValueTransformer::setValueTransformer(std::make_shared<NegateValueTransformer>(), "Negate");
/// ```
///
/// Threads: the registry may be used from any thread. A registered transformer is shared by all of them, so
/// `transformedValue` must bear to be called at the same time from several.
/// Ownership: the registry keeps what is registered.
class QV_EXPORT NSValueTransformer : public NSObject {
public:
  static const NSClass& staticClass();
  [[nodiscard]] const NSClass& dynamicClass() const override { return staticClass(); }

  /// What a value becomes; nothing where it is of a kind that this transformer does not know.
  [[nodiscard]] virtual Value transformedValue(const Value& value) const = 0;

  /// The transformer registered under a name, or null.
  [[nodiscard]] static std::shared_ptr<NSValueTransformer> valueTransformerForName(std::string_view name);
  /// Registers a transformer in place of any other of that name; null takes that one away.
  static void setValueTransformer(std::shared_ptr<NSValueTransformer> transformer, std::string name);
  /// Registers a transformer unless the name is taken, and returns whichever has it then.
  static std::shared_ptr<NSValueTransformer> addValueTransformer(
      std::shared_ptr<NSValueTransformer> transformer, std::string name);
  /// All names, in order.
  [[nodiscard]] static std::vector<std::string> valueTransformerNames();
};

}  // namespace QVFoundation
