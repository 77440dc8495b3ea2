#include "QVFoundation/platform/concurrency/CancellationRecord.h"

#include <utility>

#include "QVFoundation/platform/runtime/EscapedException_p.h"

namespace QVFoundation::detail {

CancellationRecord::~CancellationRecord() = default;

CancellationHandler::CancellationHandler(std::function<void()> handler) noexcept
    : handler_(std::move(handler)) {}
CancellationHandler::~CancellationHandler() = default;

void CancellationHandler::call() noexcept { callGuarded(handler_, "The cancellation handler of a task"); }

}  // namespace QVFoundation::detail
