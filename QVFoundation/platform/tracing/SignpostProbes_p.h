#pragma once

#include <cstdint>

#include "QVFoundation/platform/tracing/OSSignpostType.h"

#ifdef QV_HAVE_PROBES
#include <sys/sdt.h>
#endif

namespace QVFoundation::detail {

/// Passes the probe of a signpost: an instruction that does nothing until a tracing tool puts a trap in its
/// place.
[[gnu::always_inline]] inline void passProbe([[maybe_unused]] OSSignpostType type,
                                             [[maybe_unused]] const char* name,
                                             [[maybe_unused]] std::uint64_t id) noexcept {
#ifdef QV_HAVE_PROBES
  switch (type) {
    case OSSignpostType::event: STAP_PROBE2(qvfoundation, signpost_event, name, id); return;
    case OSSignpostType::begin: STAP_PROBE2(qvfoundation, signpost_begin, name, id); return;
    case OSSignpostType::end: STAP_PROBE2(qvfoundation, signpost_end, name, id); return;
  }
#endif
}

}  // namespace QVFoundation::detail
