#include "QVFoundation/errors/QVCodableError.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "QVFoundation/errors/QVCodableErrorDecoder_p.h"
#include "QVFoundation/errors/QVErrorConstructors.h"
#include "QVFoundation/platform/serialization/JSON.h"
#include "QVFoundation/platform/serialization/StructureSink.h"
#include "QVFoundation/platform/serialization/ValueWalk_p.h"
#include "QVFoundation/platform/text/Unicode.h"

namespace QVFoundation {

namespace {

/// A record that is being written: its own fields are, and perhaps some of its causes.
struct Level {
  const QVCodableError* record;
  bool causeIsWritten = false;
  std::size_t listPosition = 0;
};

void encodeText(StructureSink& sink, std::string_view key, const std::optional<std::string>& text) {
  if (!text) return;
  sink.key(key);
  sink.text(*text);
}

Level opened(StructureSink& sink, const QVCodableError& record) {
  sink.beginDictionary();
  sink.key("domain");
  sink.text(record.domain());
  sink.key("code");
  sink.integer(record.code());
  encodeText(sink, "errorDescription", record.errorDescription());
  encodeText(sink, "recoverySuggestion", record.recoverySuggestion());
  encodeText(sink, "failureReason", record.failureReason());
  encodeText(sink, "localizedFailureError", record.localizedFailureError());
  return {&record};
}

/// The next of a record's causes that is to be written; null when all are.
const QVCodableError* nextCause(StructureSink& sink, Level& level) {
  if (!level.causeIsWritten) {
    level.causeIsWritten = true;
    if (const auto& cause = level.record->underlyingError()) {
      sink.key("underlyingError");
      return &*cause;
    }
  }
  const auto& list = level.record->multipleUnderlyingErrors();
  if (!list) return nullptr;
  if (level.listPosition == 0) {
    sink.key("multipleUnderlyingErrors");
    sink.beginArray();
  }
  if (level.listPosition < list->size()) return &(*list)[level.listPosition++];
  sink.endArray();
  return nullptr;
}

/// The name of a kind that no event stands for; empty for all others.
std::string_view nameWithoutEvent(ValueKind kind) {
  switch (kind) {
    case ValueKind::data: return "data";
    case ValueKind::date: return "a date";
    case ValueKind::error: return "an error";
    case ValueKind::object: return "an object";
    case ValueKind::boxed: return "of a type of its own";
    default: return "";
  }
}

}  // namespace

void QVCodableError::encode(StructureSink& sink) const {
  std::vector<Level> levels{opened(sink, *this)};
  while (!levels.empty()) {
    if (const QVCodableError* cause = nextCause(sink, levels.back())) {
      levels.push_back(opened(sink, *cause));
    } else {
      sink.endDictionary();
      levels.pop_back();
    }
  }
}

QVCodableError QVCodableError::decode(const Value& keyed) {
  detail::CodableErrorDecoder decoder;
  detail::ValueWalk walk(keyed, detail::ValueWalk::Purpose::reading);
  while (const auto event = walk.next()) {
    const bool isLeaf = event == detail::ValueWalk::Event::leaf;
    const std::string_view kind = isLeaf ? nameWithoutEvent(walk.value().kind()) : "";
    // Under a key that records do not have, anything may stand.
    if (!kind.empty()) {
      decoder.other(kind);
    } else {
      detail::sendEvent(walk, *event, decoder);
    }
  }
  return decoder.record();
}

QVCodableError QVCodableError::errorFromJSONDescription(std::string_view text) {
  if (!isValidUTF8(text)) {
    throw errorWithDescription("Could not create JSON data from description " + std::string(text));
  }
  detail::CodableErrorDecoder decoder;
  parseJSON(text, decoder);
  return decoder.record();
}

}  // namespace QVFoundation
