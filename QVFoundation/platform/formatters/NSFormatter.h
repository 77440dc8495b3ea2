#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/NSObject.h"
#include "QVFoundation/platform/runtime/Value.h"

namespace QVFoundation {

/// Turns values into text for people and reads such text back. The base of formatters.
///
/// Threads: each formatter says its own rule.
class QV_EXPORT NSFormatter : public NSObject {
public:
  static const NSClass& staticClass();
  [[nodiscard]] const NSClass& dynamicClass() const override;

  /// The text of a value; nothing where it is of a kind that this formatter does not write.
  [[nodiscard]] virtual std::optional<std::string> stringForObjectValue(const Value& value) const = 0;
  /// The text to show while a person edits the value; the same unless a class overrides it.
  [[nodiscard]] virtual std::optional<std::string> editingStringForObjectValue(const Value& value) const;

  /// Reads a text into `value`. Where the text says nothing that it could read, it returns false, leaves
  /// `value` as it is and describes what is wrong. Who only wants to know whether it can be read passes null.
  virtual bool getObjectValue(Value* value, std::string_view string,
                              std::string* errorDescription = nullptr) const = 0;

protected:
  NSFormatter() = default;
};

}  // namespace QVFoundation
