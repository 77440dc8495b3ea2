#pragma once

#include <string>
#include <utility>

#include "QVFoundation/platform/copying/CopyRun_p.h"

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
  FolderFinishStep(CopyRun& run, std::string path, OpenFolders::Folder folder, Descriptor source)
      : run_(run), path_(std::move(path)), folder_(std::move(folder)), source_(std::move(source)) {}

  [[nodiscard]] bool finish(CopyBuffer& buffer) override;

private:
  CopyRun& run_;
  const std::string path_;
  const OpenFolders::Folder folder_;
  const Descriptor source_;
};

}  // namespace QVFoundation::detail
