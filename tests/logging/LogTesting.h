#pragma once

#include <algorithm>
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
  using Line = std::pair<std::string, QVLoggerLevel>;

  void logMessage(std::string_view message, QVLoggerLevel level) override {
    const MutexLock lock(mutex_);
    lines_.emplace_back(message, level);
  }

  /// The texts that have come since the last call.
  [[nodiscard]] std::vector<std::string> take() {
    std::vector<std::string> texts;
    for (auto& [text, level] : takeLines()) texts.push_back(std::move(text));
    return texts;
  }
  [[nodiscard]] std::vector<Line> takeLines() {
    const MutexLock lock(mutex_);
    return std::exchange(lines_, {});
  }

private:
  Mutex mutex_;
  std::vector<Line> lines_ QV_GUARDED_BY(mutex_);
};

// Parts that do what a test says.

struct WriterOf : QVLogWriter {
  explicit WriterOf(std::function<void(std::string_view)> its) : write(std::move(its)) {}
  void logMessage(std::string_view message, QVLoggerLevel /*level*/) override { write(message); }

  const std::function<void(std::string_view)> write;
};

struct FormatterOf : QVLogFormatter {
  using Format = std::function<std::optional<std::string>(std::optional<std::string_view>)>;
  explicit FormatterOf(Format its) : format(std::move(its)) {}
  [[nodiscard]] std::optional<std::string> stringForFunc(std::optional<std::string_view> /*func*/,
                                                         std::optional<std::string_view> text,
                                                         std::optional<FormatArguments> /*arguments*/,
                                                         QVLoggerLevel /*level*/) override {
    return format(text);
  }

  const Format format;
};

struct FilterOf : QVLogFilter {
  using Allow = std::function<bool(std::optional<std::string_view>, QVLoggerLevel)>;
  explicit FilterOf(Allow its) : allow(std::move(its)) {}
  [[nodiscard]] bool filterAllowsMessage(std::optional<std::string_view> message,
                                         QVLoggerLevel level) override {
    return allow(message, level);
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
