#pragma once

#include <string>
#include <utility>
#include <vector>

#include "QVFoundation/platform/copying/CopyRun_p.h"
#include "QVFoundation/platform/copying/ItemMetadata_p.h"

namespace QVFoundation::detail {

/// Says that a folder has been made.
///
/// Threads: see `CopyStep`.
class FolderStartStep final : public CopyStep {
public:
  FolderStartStep(CopyRun& run, std::string source) : run_(run), source_(std::move(source)) {}

  [[nodiscard]] bool finish(CopyBuffer& buffer) override;

private:
  CopyRun& run_;
  const std::string source_;
};

/// Makes a folder what its source is, once all is in it.
///
/// Threads: see `CopyStep`.
class FolderFinishStep final : public CopyStep {
public:
  FolderFinishStep(CopyRun& run, std::string path, OpenFolders::Folder folder, ItemMetadata metadata,
                   std::vector<CopyLoss> losses)
      : run_(run),
        path_(std::move(path)),
        folder_(std::move(folder)),
        metadata_(std::move(metadata)),
        losses_(std::move(losses)) {}

  [[nodiscard]] bool finish(CopyBuffer& buffer) override;

private:
  CopyRun& run_;
  const std::string path_;
  const OpenFolders::Folder folder_;
  const ItemMetadata metadata_;
  std::vector<CopyLoss> losses_;
};

}  // namespace QVFoundation::detail
