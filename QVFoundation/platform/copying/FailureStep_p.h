#pragma once

#include <string>
#include <utility>

#include "QVFoundation/platform/copying/CopyRun_p.h"

namespace QVFoundation::detail {

/// Says that something went wrong, when its turn comes.
///
/// Threads: see `CopyStep`.
class FailureStep final : public CopyStep {
public:
  FailureStep(CopyRun& run, CopyItem item, std::string source, int code)
      : run_(run), item_(item), source_(std::move(source)), code_(code) {}

  [[nodiscard]] bool finish(CopyBuffer& /*buffer*/) override { return run_.fail(item_, source_, code_); }

private:
  CopyRun& run_;
  const CopyItem item_;
  const std::string source_;
  const int code_;
};

}  // namespace QVFoundation::detail
