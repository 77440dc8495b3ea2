#pragma once

#include <string>
#include <utility>
#include <vector>

#include "QVFoundation/platform/copying/CopyRun_p.h"
#include "QVFoundation/platform/copying/CopyTarget_p.h"
#include "QVFoundation/platform/copying/ItemMetadata_p.h"

namespace QVFoundation::detail {

/// Makes a symbolic link, a pipe, a socket or a device.
///
/// Threads: see `CopyStep`.
class SpecialItemStep final : public CopyStep {
public:
  /// The text is that of a link.
  SpecialItemStep(CopyRun& run, CopyTarget target, ItemMetadata metadata, std::string text,
                  std::vector<CopyLoss> losses)
      : run_(run),
        target_(std::move(target)),
        metadata_(std::move(metadata)),
        text_(std::move(text)),
        losses_(std::move(losses)) {}

  [[nodiscard]] bool finish(CopyBuffer& buffer) override;

private:
  [[nodiscard]] int make() const;

  CopyRun& run_;
  const CopyTarget target_;
  const ItemMetadata metadata_;
  const std::string text_;
  std::vector<CopyLoss> losses_;
};

}  // namespace QVFoundation::detail
