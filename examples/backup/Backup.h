#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

#include <QVFoundation/operations/QVOperation.h>
#include <QVFoundation/operations/XRCopyFileOperation.h>

#include "Options.h"

namespace example {

/// Copies to a hidden name beside the destination, has `diff` compare the copy with its source, and gives it
/// its name only then. Where that name is taken it fails with an error that offers ways out: `takeWayOut` is
/// called with the one that is chosen, for another backup to be made with it.
///
/// Threads: those of a `QVOperation`; `destination` once it has ended.
class Backup final : public QVFoundation::QVOperation,
                     public QVFoundation::QVSyncOperationProtocol<QVFoundation::CopyReport> {
public:
  enum class Conflict { cancel, replace, keepBoth };
  using TakeWayOut = std::function<std::optional<QVFoundation::NSError>(Conflict)>;

  Backup(Options options, Conflict conflict, TakeWayOut takeWayOut);
  void calculateSegmentCosts() override;
  QVFoundation::CopyReport perform() override;

  [[nodiscard]] const std::filesystem::path& destination() const noexcept { return destination_; }
  /// What counts at this moment: bytes that are copied, files that are compared, or null.
  [[nodiscard]] std::shared_ptr<QVFoundation::NSProgress> part() const;

private:
  void chooseNames();
  [[nodiscard]] std::filesystem::path uniqueDestination() const;
  [[nodiscard]] QVFoundation::NSError conflictError() const;
  QVFoundation::CopyReport copySource();
  void compareCopy(std::int64_t fileCount);
  void giveName();
  template <class Child>
  void run(const std::shared_ptr<Child>& child, std::int64_t unitCount);

  const Options options_;
  const bool compares_;
  const Conflict conflict_;
  const TakeWayOut takeWayOut_;
  std::filesystem::path destination_;
  std::filesystem::path temporary_;  // what is to be removed in the end, if it is there
};

}  // namespace example
