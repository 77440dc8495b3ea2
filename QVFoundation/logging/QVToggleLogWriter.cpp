#include "QVFoundation/logging/QVToggleLogWriter.h"

#include <utility>

#include "QVFoundation/platform/runtime/ChangeNotice.h"
#include "QVFoundation/platform/runtime/NSClass.h"

namespace QVFoundation {

namespace {

/// A writer as a value: the object that it is, where it is one.
Value valueOf(const std::shared_ptr<QVLogWriter>& writer) {
  if (auto object = std::dynamic_pointer_cast<NSObject>(writer)) return object;
  return writer ? Value::boxed(writer) : Value();
}

}  // namespace

const NSClass& QVToggleLogWriter::staticClass() {
  static const NSClass& cls = *new NSClass(
      NSClass::define<QVToggleLogWriter>("QVToggleLogWriter", NSObject::staticClass())
          .readOnly("subWriter", [](const QVToggleLogWriter& writer) { return valueOf(writer.subWriter()); })
          .property("writingEnabled", &QVToggleLogWriter::writingEnabled,
                    &QVToggleLogWriter::setWritingEnabled));
  return cls;
}

void QVToggleLogWriter::setWritingEnabled(bool enabled) {
  const ChangeNotice notice(*this, "writingEnabled");
  writingEnabled_.store(enabled, std::memory_order_relaxed);
}

QVToggleLogWriter::QVToggleLogWriter(std::shared_ptr<QVLogWriter> subWriter)
    : subWriter_(std::move(subWriter)) {}

void QVToggleLogWriter::logMessage(std::string_view message, QVLoggerLevel level) {
  if (!writingEnabled()) return;
  if (const auto writer = subWriter()) writer->logMessage(message, level);
}

Dictionary QVToggleLogWriter::debugDictionary() const {
  Dictionary dictionary = QVObject::debugDictionary();
  dictionary.set("subWriter", valueOf(subWriter()));
  dictionary.set("writingEnabled", writingEnabled());
  return dictionary;
}

}  // namespace QVFoundation
