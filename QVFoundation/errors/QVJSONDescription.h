#pragma once

#include <concepts>
#include <exception>
#include <string>

#include "QVFoundation/platform/runtime/ErrorConversion.h"
#include "QVFoundation/platform/serialization/JSONWriter.h"
#include "QVFoundation/platform/serialization/StructureSink.h"

namespace QVFoundation {

/// A type that can write itself as a tree of values.
template <class T>
concept QVEncodable = requires(const T& value, StructureSink& sink) { value.encode(sink); };

/// Any encodable value as readable JSON, for logs and people: if encoding fails, it is the description of the
/// failure and not JSON. Where the text is kept or sent, encode into a `JSONWriter` and let it throw.
///
/// Threads: safe from any thread, as far as the value is.
template <QVEncodable T>
[[nodiscard]] std::string jsonDescription(const T& value) {
  try {
    std::string text;
    JSONWriter writer(text, JSONStyle::pretty);
    value.encode(writer);
    return text;
  } catch (...) {
    return asNSError(std::current_exception()).localizedDescription();
  }
}

}  // namespace QVFoundation
