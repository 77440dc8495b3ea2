#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/serialization/StructureSink.h"

namespace QVFoundation {

enum class JSONStyle {
  compact,  ///< one line without blanks
  pretty,   ///< one entry a line, two blanks for each level
};

/// Writes the events that it receives as JSON text.
///
/// ```cpp
/// std::string json;
/// JSONWriter writer(json, JSONStyle::pretty);
/// visit(value, writer);
/// ```
///
/// Any depth is fine: the writer remembers no more than how deep it stands. Beyond 64 levels the indentation
/// stops growing, so that a chain of 100,000 levels has a length in proportion. Bytes that are no UTF-8
/// become U+FFFD.
///
/// Threads: one thread at a time.
/// Ownership: borrows the text and appends to it.
/// Errors: not-a-number and the infinities are `NSError` `NSPropertyListWriteInvalidError` in
/// `NSCocoaErrorDomain`.
class QV_EXPORT JSONWriter final : public StructureSink {
public:
  explicit JSONWriter(std::string& out, JSONStyle style = JSONStyle::compact) : out_(out), style_(style) {}

  void beginDictionary() override { open('{'); }
  void key(std::string_view key) override;
  void endDictionary() override { close('}'); }
  void beginArray() override { open('['); }
  void endArray() override { close(']'); }
  void text(std::string_view text) override;
  void integer(std::int64_t number) override;
  void unsignedInteger(std::uint64_t number) override;
  /// In the shortest form that reads back as the same number, and always so that it reads back as a real one.
  void real(double number) override;
  void boolean(bool truth) override;
  void null() override;

private:
  void open(char bracket);
  void close(char bracket);
  void beginEntry();
  void beginValue();
  void startLine();

  std::string& out_;
  JSONStyle style_;
  bool follows_ = false;       // the next entry is not the first of its container
  bool completesKey_ = false;  // the next value belongs to a key that is written
  std::size_t depth_ = 0;
};

}  // namespace QVFoundation
