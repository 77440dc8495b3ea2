#include "QVFoundation/collections/QVSelectionCount.h"

#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {

QVSelectionCount::QVSelectionCount(std::size_t selected, std::size_t total)
    : selected_(selected), total_(total) {
  if (selected <= total) return;
  throw NSException(NSInvalidArgumentException,
                    std::to_string(selected) + " cannot be selected of " + std::to_string(total));
}

QVSelectionCount::Extent QVSelectionCount::extent() const noexcept {
  if (selected_ == 0) return Extent::none;
  if (selected_ == total_) return Extent::all;
  return selected_ == 1 ? Extent::one : Extent::several;
}

QVSelectionCount::CheckState QVSelectionCount::checkState() const noexcept {
  switch (extent()) {
    case Extent::none: return CheckState::off;
    case Extent::all: return CheckState::on;
    default: return CheckState::mixed;
  }
}

std::string QVSelectionCount::description() const {
  std::string text = std::to_string(selected_);
  if (extent() == Extent::none) text = "none";
  if (extent() == Extent::all) text = "all";
  return text += " of " + std::to_string(total_);
}

}  // namespace QVFoundation
