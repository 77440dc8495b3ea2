#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/errors/QVCodableError.h"
#include "QVFoundation/platform/serialization/StructureSink.h"

namespace QVFoundation::detail {

/// Receives a tree of values and builds the error record that it describes. Throws an `NSError` that names
/// the key where the tree has another shape.
class CodableErrorDecoder final : public StructureSink {
public:
  void beginDictionary() override;
  void key(std::string_view name) override;
  void endDictionary() override;
  void beginArray() override;
  void endArray() override;
  void text(std::string_view value) override;
  void integer(std::int64_t value) override;
  void unsignedInteger(std::uint64_t value) override;
  void real(double value) override;
  void boolean(bool value) override;
  void null() override;
  /// A value that no event stands for, such as "a date".
  void other(std::string_view kind);

  /// The record, once the tree is complete.
  [[nodiscard]] QVCodableError record() const { return record_.value(); }

private:
  enum class Field : std::uint8_t {
    unknown,
    domain,
    code,
    errorDescription,
    recoverySuggestion,
    failureReason,
    localizedFailureError,
    underlyingError,
    multipleUnderlyingErrors,
  };

  /// A record whose fields are still coming in.
  struct Level {
    QVCodableError::Fields fields;
    Field current = Field::unknown;
    bool hasDomain = false;
    bool hasCode = false;
    bool inList = false;
  };

  /// True where the value that comes now belongs to a key that records do not have, or lies inside of one.
  [[nodiscard]] bool isIgnored() const;
  void take(const QVCodableError& record);
  [[nodiscard]] std::optional<std::string>* textField();
  [[noreturn]] void failType(std::string_view found) const;
  /// For the record that has just ended and is no level any more.
  [[noreturn]] void failMissing(std::string_view name) const;
  [[nodiscard]] std::string path() const;

  static Field fieldNamed(std::string_view name);
  static std::string_view nameOf(Field field);

  std::vector<Level> levels_;
  std::size_t ignoredDepth_ = 0;
  std::optional<QVCodableError> record_;
};

}  // namespace QVFoundation::detail
