#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "QVFoundation/platform/copying/CopyRun_p.h"
#include "QVFoundation/platform/copying/CopyTarget_p.h"
#include "QVFoundation/platform/copying/ItemHandle_p.h"

namespace QVFoundation::detail {

/// Copies a regular file.
///
/// Threads: see `CopyStep`.
class FileStep final : public CopyStep {
public:
  FileStep(CopyRun& run, CopyTarget target, Descriptor source, const struct stat& status)
      : run_(run),
        target_(std::move(target)),
        source_(std::move(source)),
        status_(status),
        number_(run.queue.addedCount()) {}

  /// What is small enough, so that nobody misses its progress.
  [[nodiscard]] bool canBePrepared() const noexcept override;
  void prepare(CopyBuffer& buffer) noexcept override;
  [[nodiscard]] bool finish(CopyBuffer& buffer) override;

private:
  [[nodiscard]] int copy(CopyBuffer& buffer, const ContentCopy::Progress& progress);
  [[nodiscard]] int copyOnce(CopyBuffer& buffer, const ContentCopy::Progress& progress);
  [[nodiscard]] int copyWithProgress(CopyBuffer& buffer);
  void keepMetadata(const ItemHandle& file);
  void count();

  CopyRun& run_;
  const CopyTarget target_;
  Descriptor source_;
  const struct stat status_;
  const std::uint64_t number_;

  int code_ = 0;
  struct stat made_{};
  ContentCopy::Way way_ = ContentCopy::Way::copied;
  std::int64_t size_ = 0;
  std::int64_t told_ = 0;
  bool isRead_ = false;  // once, to its end or not
  std::vector<CopyLoss> losses_;
};

}  // namespace QVFoundation::detail
