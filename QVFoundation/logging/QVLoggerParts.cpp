#include "QVFoundation/logging/QVLogger.h"

#include <utility>

#include "QVFoundation/logging/DroppedLevels_p.h"
#include "QVFoundation/logging/QVArrayCompositeLogWriter.h"
#include "QVFoundation/logging/QVLogLevelFilter.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {

namespace {

/// Whether both are the same writer, or objects that say they are equal.
bool areEqual(const std::shared_ptr<QVLogWriter>& a, const std::shared_ptr<QVLogWriter>& b) {
  if (a == b) return true;
  const auto* object = dynamic_cast<const NSObject*>(a.get());
  const auto* other = dynamic_cast<const NSObject*>(b.get());
  return object != nullptr && other != nullptr && object->isEqual(*other);
}

bool allowsDebugLogging(const std::shared_ptr<QVLogFilter>& filter) {
  return !filter || filter->filterAllowsMessage(std::nullopt, QVLoggerLevelDebug);
}

}  // namespace

QVLogger::SeenParts QVLogger::exchangeParts(const std::function<Parts(const Parts&)>& change) {
  auto current = parts_.load();
  SeenParts seen{current};
  while (!parts_.compareExchange(current, std::make_shared<const Parts>(change(*current))))
    seen.push_back(current);
  return seen;
}

void QVLogger::setWriter(std::shared_ptr<QVLogWriter> writer) {
  exchangeParts([&](const Parts& parts) { return Parts{writer, parts.formatter, parts.filter}; });
}

void QVLogger::addWriter(const std::shared_ptr<QVLogWriter>& writer) {
  exchangeParts([&](const Parts& parts) {
    if (!parts.writer || !writer) {
      throw NSException(NSInvalidArgumentException, "A list of writers cannot be made with a missing writer");
    }
    const auto list = std::dynamic_pointer_cast<QVArrayCompositeLogWriter>(parts.writer);
    auto writers = list ? list->writers() : std::vector{parts.writer};
    writers.push_back(writer);
    return Parts{std::make_shared<QVArrayCompositeLogWriter>(std::move(writers)), parts.formatter,
                 parts.filter};
  });
}

void QVLogger::removeWriter(const std::shared_ptr<QVLogWriter>& writer) {
  exchangeParts([&](const Parts& parts) {
    const auto list = std::dynamic_pointer_cast<QVArrayCompositeLogWriter>(parts.writer);
    if (!list)
      throw NSException(NSInvalidArgumentException, "The logger has no list of writers to remove one from");
    auto writers = list->writers();
    std::erase_if(writers, [&](const auto& element) { return areEqual(element, writer); });
    return Parts{std::make_shared<QVArrayCompositeLogWriter>(std::move(writers)), parts.formatter,
                 parts.filter};
  });
}

void QVLogger::setFormatter(std::shared_ptr<QVLogFormatter> formatter) {
  exchangeParts([&](const Parts& parts) { return Parts{parts.writer, formatter, parts.filter}; });
}

void QVLogger::setFilter(std::shared_ptr<QVLogFilter> filter) {
  if (!installFilter(filter)) return;
  // The filter is asked without a lock. Where another thread replaces it meanwhile, the new one is
  // asked instead.
  do {
    filter = this->filter();
    setDebugLoggingEnabled(allowsDebugLogging(filter));
  } while (filter != this->filter());
}

bool QVLogger::installFilter(const std::shared_ptr<QVLogFilter>& filter) {
  SeenParts seen;  // let go of after the lock
  const MutexLock lock(filterChange_);
  seen = exchangeParts([&](const Parts& parts) { return Parts{parts.writer, parts.formatter, filter}; });
  const auto& replaced = seen.back()->filter;
  if (replaced == filter) return false;
  if (replaced) replaced->dropped_->disconnect(gate_);
  if (filter) {
    filter->dropped_->connect(gate_);
  } else {
    gate_->set(QVLogLevelSet::all());
  }
  return true;
}

bool QVLogger::shouldPerformDebugLogging() const { return allowsDebugLogging(filter()); }

void QVLogger::switchDebugLogging(bool enabled) {
  if (const auto levelFilter = std::dynamic_pointer_cast<QVLogLevelFilter>(filter())) {
    levelFilter->setDebugLoggingEnabled(enabled);
  }
  setDebugLoggingEnabled(enabled);
}

}  // namespace QVFoundation
