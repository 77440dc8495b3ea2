#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/runtime/Dictionary.h"
#include "QVFoundation/platform/runtime/Value.h"
#include "QVFoundation/platform/serialization/StructureSink.h"

namespace QVFoundation {

/// Builds the value that the events describe. Of equal keys in one dictionary the last one counts.
///
/// ```cpp
/// ValueBuilder builder;
/// parseJSON(text, builder);
/// const Value value = builder.takeValue();
/// ```
///
/// Threads: one thread at a time.
/// Errors: containers nested deeper than `deepestLevel` are `NSError` `NSPropertyListReadCorruptError` in
/// `NSCocoaErrorDomain`; nobody writes such a thing on purpose, and what walks over values recurses.
class QV_EXPORT ValueBuilder final : public StructureSink {
public:
  static constexpr std::size_t deepestLevel = 512;

  void beginDictionary() override { open(Dictionary()); }
  void key(std::string_view key) override;
  void endDictionary() override;
  void beginArray() override { open(std::vector<Value>()); }
  void endArray() override;
  void text(std::string_view text) override { add(text); }
  void integer(std::int64_t number) override { add(number); }
  void unsignedInteger(std::uint64_t number) override { add(number); }
  void real(double number) override { add(number); }
  void boolean(bool truth) override { add(truth); }
  void null() override { add(NSNull()); }
  /// Adds a value of any kind, also one that no event stands for.
  void add(Value value);

  /// The finished value. The builder is empty afterwards and can build another one.
  [[nodiscard]] Value takeValue();

private:
  /// A container whose end is still to come.
  struct Level {
    std::variant<Dictionary, std::vector<Value>> content;
    std::string key;  // in a dictionary, of the value to come
  };

  void open(std::variant<Dictionary, std::vector<Value>> content);

  std::vector<Level> levels_;
  Value value_;
};

/// Sends a value to a sink, the keys of dictionaries in order. Nothing and the null object are sent as null,
/// sets as arrays. The value may be nested as deeply as the sink bears.
///
/// Threads: any.
/// Errors: a value that no event stands for (data, a date, an error, an object), or a key that is no text, is
/// `NSError` `NSPropertyListWriteInvalidError` in `NSCocoaErrorDomain`, which names the key path.
QV_EXPORT void visit(const Value& value, StructureSink& sink);

}  // namespace QVFoundation
