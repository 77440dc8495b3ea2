#pragma once

#include <memory>
#include <string>
#include <vector>

#include "QVFoundation/platform/copying/FileStep_p.h"
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
  [[nodiscard]] bool link() const;

  CopyRun& run_;
  const CopyTarget target_;
  const struct stat status_;
  const std::unique_ptr<CopyStep> otherwise_;
};

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
