#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "QVFoundation/logging/QVLogBasicFormatter.h"
#include "QVFoundation/logging/QVLogFilter.h"
#include "QVFoundation/logging/QVLogLevelFilter.h"
#include "QVFoundation/logging/QVLogNoFilter.h"
#include "QVFoundation/logging/QVLogger.h"
#include "QVFoundation/platform/concurrency/Mutex.h"

namespace QVFoundation::testing {

/// Keeps the lines that it gets.
class KeepingWriter : public NSObject, public QVLogWriter {
public:
  void logMessage(std::string_view message, QVLoggerLevel /*level*/) override {
    const MutexLock lock(mutex_);
    lines_.emplace_back(message);
  }
  /// Those that have come since the last call.
  [[nodiscard]] std::vector<std::string> take() {
    const MutexLock lock(mutex_);
    return std::exchange(lines_, {});
  }

private:
  Mutex mutex_;
  std::vector<std::string> lines_ QV_GUARDED_BY(mutex_);
};

/// One that lets errors and news pass, and adds nothing to them.
inline std::shared_ptr<QVLogger> loggerTo(std::shared_ptr<QVLogWriter> writer) {
  return std::make_shared<QVLogger>(std::move(writer), std::make_shared<QVLogBasicFormatter>(),
                                    std::make_shared<QVLogLevelFilter>());
}

// Parts that do what a test says.

struct WriterOf : QVLogWriter {
  using Write = std::function<void(std::string_view, QVLoggerLevel)>;
  explicit WriterOf(Write its) : write(std::move(its)) {}
  void logMessage(std::string_view message, QVLoggerLevel level) override { write(message, level); }

  const Write write;
};

struct FormatterOf : QVLogFormatter {
  using Text = std::optional<std::string_view>;
  using Format = std::function<std::optional<std::string>(Text)>;
  explicit FormatterOf(Format its) : format(std::move(its)) {}
  [[nodiscard]] std::optional<std::string> stringForFunc(Text /*func*/, Text text,
                                                         std::optional<FormatArguments> /*arguments*/,
                                                         QVLoggerLevel /*level*/) override {
    return format(text);
  }

  const Format format;
};

struct FilterOf : QVLogFilter {
  using Allow = std::function<bool(std::optional<std::string_view>, QVLoggerLevel)>;
  explicit FilterOf(Allow its) : allow(std::move(its)) {}
  [[nodiscard]] bool filterAllowsMessage(std::optional<std::string_view> line, QVLoggerLevel level) override {
    return allow(line, level);
  }
  using QVLogFilter::setDropped;

  const Allow allow;
};

/// A logger whose lines are the messages, and what it has written.
struct KeptLog {
  explicit KeptLog(std::shared_ptr<QVLogFilter> filter = std::make_shared<QVLogNoFilter>(),
                   std::shared_ptr<QVLogFormatter> formatter = std::make_shared<QVLogBasicFormatter>())
      : logger(writer, std::move(formatter), std::move(filter)) {}

  [[nodiscard]] std::vector<std::string> take() const { return writer->take(); }

  const std::shared_ptr<KeepingWriter> writer = std::make_shared<KeepingWriter>();
  QVLogger logger;
};

}  // namespace QVFoundation::testing
