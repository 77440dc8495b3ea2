#include "QVFoundation/platform/tracing/OSSignposter.h"

#include <atomic>
#include <chrono>
#include <unistd.h>

#include "QVFoundation/platform/tracing/ErrnoKeeper_p.h"
#include "QVFoundation/platform/tracing/SignpostDelivery_p.h"
#include "QVFoundation/platform/tracing/SignpostProbes_p.h"

namespace QVFoundation {

namespace {

// User space ends below it, so no object has such an address.
constexpr std::uint64_t noAddress = std::uint64_t{1} << 63;

}  // namespace

OSSignpostID OSSignpostID::unique() noexcept {
  static constinit std::atomic<std::uint64_t> last{noAddress};
  return OSSignpostID(last.fetch_add(1, std::memory_order_relaxed) + 1);
}

void OSSignposter::mark(OSSignpostType type, StaticText name, OSSignpostID id,
                        OSSignpostID lane) const noexcept {
  detail::passProbe(type, name.data(), id.number());
  if (detail::signpostsMayBeWanted.load(std::memory_order_relaxed)) [[unlikely]]
    put(type, name, id, lane);
}

/// Apart, so that nothing is saved and restored for it while nobody looks.
[[gnu::noinline]] void OSSignposter::put(OSSignpostType type, StaticText name, OSSignpostID id,
                                         OSSignpostID lane) const noexcept {
  const detail::ErrnoKeeper errnoKeeper;
  detail::deliver(OSSignpost{
      .type = type,
      .name = name,
      .id = id,
      .lane = lane,
      .subsystem = subsystem_,
      .category = category_,
      .time = std::chrono::steady_clock::now(),
      .thread = gettid(),
  });
}

}  // namespace QVFoundation
