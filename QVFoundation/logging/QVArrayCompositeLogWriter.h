#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "QVFoundation/logging/QVLogWriter.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/UnfairLock.h"
#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/NSObject.h"

namespace QVFoundation {

/// A list of writers that is itself a writer: each line goes to every element, in order. The list never
/// changes; loggers replace it by another one.
///
/// Elements that are no writers are skipped, and so are other lists.
///
/// Threads: safe from any thread. A lock is held while a line goes out, so that it reaches all elements
/// before the next.
/// Errors: an element that throws is reported on standard error; the others still get the line.
class QV_EXPORT QVArrayCompositeLogWriter : public NSObject, public QVLogWriter {
public:
  explicit QVArrayCompositeLogWriter(std::vector<std::shared_ptr<QVLogWriter>> writers);
  /// The list of the elements that are objects and writers.
  explicit QVArrayCompositeLogWriter(const Array& elements);

  [[nodiscard]] const std::vector<std::shared_ptr<QVLogWriter>>& writers() const noexcept { return writers_; }

  void logMessage(std::string_view message, QVLoggerLevel level) override;
  [[nodiscard]] Dictionary debugDictionary() const override;

private:
  const std::vector<std::shared_ptr<QVLogWriter>> writers_;
  UnfairLock lock_;
};

}  // namespace QVFoundation
