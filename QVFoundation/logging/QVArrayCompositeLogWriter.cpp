#include "QVFoundation/logging/QVArrayCompositeLogWriter.h"

#include <utility>

#include "QVFoundation/logging/LogFallback_p.h"

namespace QVFoundation {

namespace {

std::vector<std::shared_ptr<QVLogWriter>> writersAmong(const Array& elements) {
  std::vector<std::shared_ptr<QVLogWriter>> writers;
  for (const Value& element : elements) {
    if (auto writer = std::dynamic_pointer_cast<QVLogWriter>(element.object()))
      writers.push_back(std::move(writer));
  }
  return writers;
}

}  // namespace

QVArrayCompositeLogWriter::QVArrayCompositeLogWriter(std::vector<std::shared_ptr<QVLogWriter>> writers)
    : writers_(std::move(writers)) {}

QVArrayCompositeLogWriter::QVArrayCompositeLogWriter(const Array& elements)
    : QVArrayCompositeLogWriter(writersAmong(elements)) {}

void QVArrayCompositeLogWriter::logMessage(std::string_view message, QVLoggerLevel level) {
  const UnfairLockGuard guard(lock_);
  for (const auto& writer : writers_) {
    const bool isList = dynamic_cast<const QVArrayCompositeLogWriter*>(writer.get()) != nullptr;
    if (!writer || isList) continue;
    detail::reportingFailure("write", message, [&] { writer->logMessage(message, level); });
  }
}

Dictionary QVArrayCompositeLogWriter::debugDictionary() const {
  Dictionary dictionary = NSObject::debugDictionary();
  dictionary.set("count", writers_.size());
  return dictionary;
}

}  // namespace QVFoundation
