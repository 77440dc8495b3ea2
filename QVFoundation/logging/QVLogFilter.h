#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "QVFoundation/logging/QVLoggerLevel.h"
#include "QVFoundation/platform/Export.h"

namespace QVFoundation {

namespace detail {
class DroppedLevels;
class LevelGate;
}  // namespace detail

/// Decides which lines are written.
///
/// A filter that drops all lines of some level, whatever they say, declares that level with `setDropped`;
/// loggers then drop such lines before they are formatted, at the cost of one load and one branch. A filter
/// that looks at the text declares none.
///
/// Threads: called on any thread and by several at once: for a line while its logger holds its lock, about a
/// level as such without one. A filter must not log through a logger that it serves.
class QV_EXPORT QVLogFilter {
public:
  QVLogFilter(const QVLogFilter&) = delete;
  QVLogFilter& operator=(const QVLogFilter&) = delete;
  virtual ~QVLogFilter();

  /// True to let the line pass. An absent message asks about the level as such. Any level may come.
  [[nodiscard]] virtual bool filterAllowsMessage(std::optional<std::string_view> message,
                                                 QVLoggerLevel level) = 0;

  /// The levels whose lines are dropped unseen.
  [[nodiscard]] QVLogLevelSet droppedLevels() const noexcept;

protected:
  QVLogFilter();
  /// Takes effect from the next line of every logger that has this filter.
  void setDropped(QVLoggerLevel level, bool isDropped);

private:
  friend class QVLogger;

  std::shared_ptr<detail::DroppedLevels> dropped_;
};

}  // namespace QVFoundation
