#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <string_view>

#include "QVFoundation/errors/QVCodableError.h"
#include "QVFoundation/errors/QVErrorInspection.h"
#include "QVFoundation/errors/QVJSONDescription.h"
#include "QVFoundation/platform/runtime/ErrorConversion.h"
#include "QVFoundation/platform/serialization/JSON.h"
#include "QVFoundation/platform/text/Unicode.h"
#include "fuzz/Require.h"

using namespace QVFoundation;
using fuzzing::require;

namespace {

/// The record that a text holds; nothing, for a reason that is told, where it holds none.
std::optional<QVCodableError> recordIn(std::string_view text) {
  try {
    return QVCodableError::errorFromJSONDescription(text);
  } catch (const NSError& error) {
    const bool isExpected =
        error.code() == NSPropertyListReadCorruptError || error.code() == NSCoderReadCorruptError ||
        error.code() == NSCoderValueNotFoundError || (error.code() == -1 && !isValidUTF8(text));
    require(isExpected && !error.localizedDescription().empty());
    return {};
  }
}

/// Reading the text as a value first must come to the same. It fails for other reasons where the text is
/// nested too deeply for a value, and of equal keys it sees only one.
void checkAgainstValue(std::string_view text, const std::optional<QVCodableError>& record) {
  std::optional<QVCodableError> fromValue;
  try {
    fromValue = QVCodableError::decode(valueFromJSON(text));
  } catch (const NSError&) {
    return;
  }
  require(!record || fromValue == record);
}

void checkUse(const QVCodableError& record) {
  require(recordIn(jsonDescription(record)) == record);
  const NSError error = asNSError(record);
  require(error.code() == record.code());
  (void)record.description();
  (void)fullDescription(error);
  (void)isUserCancelledError(error);
  const QVCodableError again(error);
  require(QVCodableError(asNSError(again)) == again);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto record = recordIn(text);
  checkAgainstValue(text, record);
  if (record) checkUse(*record);
  return 0;
}
