#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#if __has_include(<nlohmann/json.hpp>)
#include <nlohmann/json.hpp>
#define QV_HAVE_REFERENCE
#endif

#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/serialization/JSON.h"
#include "fuzz/Require.h"

using namespace QVFoundation;
using fuzzing::require;

namespace {

/// The text written anew; nothing where it is no JSON.
std::optional<std::string> rewritten(std::string_view text, JSONStyle style) {
  try {
    std::string out;
    JSONWriter writer(out, style);
    parseJSON(text, writer);
    return out;
  } catch (const NSError& error) {
    require(error.code() == NSPropertyListReadCorruptError && !error.localizedDescription().empty());
    return {};
  }
}

/// Another parser must accept the same texts. It takes a zero byte for the end.
void checkAgainstReference([[maybe_unused]] std::string_view text, [[maybe_unused]] bool isAccepted) {
#ifdef QV_HAVE_REFERENCE
  if (text.find('\0') == text.npos) require(nlohmann::json::accept(text) == isAccepted);
#endif
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto compact = rewritten(text, JSONStyle::compact);
  checkAgainstReference(text, compact.has_value());
  if (!compact) return 0;
  const auto pretty = rewritten(*compact, JSONStyle::pretty);
  require(pretty && rewritten(*pretty, JSONStyle::compact) == compact);
  try {
    require(valueFromJSON(jsonFromValue(valueFromJSON(text))) == valueFromJSON(text));
  } catch (const NSError&) {
    // Nested too deeply for a value.
  }
  return 0;
}
