#pragma once

#include <atomic>
#include <memory>
#include <string_view>
#include <utility>

#include "QVFoundation/logging/QVLogWriter.h"
#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/concurrency/AtomicShared.h"
#include "QVFoundation/values/QVObject.h"

namespace QVFoundation {

/// A writer in front of another one that can be switched off and on.
///
/// Threads: safe from any thread. The switch takes effect from the next line.
class QV_EXPORT QVToggleLogWriter : public QVObject, public QVLogWriter {
public:
  static const NSClass& staticClass();
  [[nodiscard]] const NSClass& dynamicClass() const override { return staticClass(); }

  /// The sub-writer may be null; lines are dropped then.
  explicit QVToggleLogWriter(std::shared_ptr<QVLogWriter> subWriter = nullptr);

  [[nodiscard]] std::shared_ptr<QVLogWriter> subWriter() const { return subWriter_.load(); }
  void setSubWriter(std::shared_ptr<QVLogWriter> subWriter) { subWriter_.store(std::move(subWriter)); }

  [[nodiscard]] bool writingEnabled() const noexcept {
    return writingEnabled_.load(std::memory_order_relaxed);
  }
  /// Observers of "writingEnabled" hear of it, also where it is the same again.
  void setWritingEnabled(bool enabled);

  void logMessage(std::string_view message, QVLoggerLevel level) override;
  [[nodiscard]] Dictionary debugDictionary() const override;

private:
  AtomicShared<QVLogWriter> subWriter_;
  std::atomic<bool> writingEnabled_{true};
};

}  // namespace QVFoundation
