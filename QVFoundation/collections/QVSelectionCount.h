#pragma once

#include <cstddef>
#include <functional>
#include <ranges>
#include <string>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/text/Described.h"

namespace QVFoundation {

/// How many of a number of things are selected: what a status line tells, what a menu item needs to know to
/// be enabled, and what the check box over a list shows.
///
/// ```cpp
/// const auto selection = QVSelectionCount::of(rows, [](const auto& row) { return row->isSelected(); });
/// removeButton.setEnabled(selection.extent() != QVSelectionCount::Extent::none);
/// checkBox.setState(selection.checkState());
/// ```
///
/// Threads: a value; reading it from several threads is safe.
/// Errors: more selected than there are raises `NSException` named `NSInvalidArgumentException`.
class QV_EXPORT QVSelectionCount {
public:
  /// `all` where nothing is left out, be it of one thing alone; of no things at all, `none` are selected.
  enum class Extent { none, one, several, all };
  /// What a check box with three states shows.
  enum class CheckState { off, mixed, on };

  QVSelectionCount() noexcept = default;
  QVSelectionCount(std::size_t selected, std::size_t total);

  /// Counts the elements of a range that a test finds selected.
  template <std::ranges::input_range Range, class Test>
  [[nodiscard]] static QVSelectionCount of(Range&& range, Test isSelected) {
    QVSelectionCount count;
    for (auto&& element : range) count.add(std::invoke(isSelected, element));
    return count;
  }

  /// Counts one thing more.
  void add(bool isSelected) noexcept {
    ++total_;
    if (isSelected) ++selected_;
  }
  /// Counts what another has counted as well, such as the groups of a list that has groups.
  QVSelectionCount& operator+=(const QVSelectionCount& other) noexcept {
    selected_ += other.selected_;
    total_ += other.total_;
    return *this;
  }

  [[nodiscard]] std::size_t selected() const noexcept { return selected_; }
  [[nodiscard]] std::size_t total() const noexcept { return total_; }
  [[nodiscard]] Extent extent() const noexcept;
  [[nodiscard]] CheckState checkState() const noexcept;

  [[nodiscard]] std::string description() const;  ///< "none of 5", "2 of 5", "all of 5"
  friend bool operator==(const QVSelectionCount&, const QVSelectionCount&) = default;

private:
  std::size_t selected_ = 0;  // at most `total_`
  std::size_t total_ = 0;
};

}  // namespace QVFoundation
