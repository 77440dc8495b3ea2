#pragma once

#include <memory>
#include <sys/stat.h>
#include <utility>

#include "QVFoundation/platform/copying/CopyRun_p.h"
#include "QVFoundation/platform/copying/CopyTarget_p.h"

namespace QVFoundation::detail {

/// Gives an item that has been copied a further name; where that cannot be, copies it once more.
///
/// Threads: see `CopyStep`.
class HardLinkStep final : public CopyStep {
public:
  HardLinkStep(CopyRun& run, CopyTarget target, const struct stat& status,
               std::unique_ptr<CopyStep> otherwise)
      : run_(run), target_(std::move(target)), status_(status), otherwise_(std::move(otherwise)) {}

  [[nodiscard]] bool finish(CopyBuffer& buffer) override;

private:
  [[nodiscard]] int link() const;

  CopyRun& run_;
  const CopyTarget target_;
  const struct stat status_;
  const std::unique_ptr<CopyStep> otherwise_;
};

}  // namespace QVFoundation::detail
