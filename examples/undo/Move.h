#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <QVFoundation/operations/QVOperation.h>
#include <QVFoundation/operations/QVUndoableOperation.h>

namespace example {

class Inventory;

/// Gives a file or folder another path; moving it back undoes that. What is there already is never replaced.
/// On another volume it appears when it is whole, and only then goes where it was. Where the copy would lose
/// something, or something comes or changes meanwhile, the copy goes, and all stays as it is. What cannot be
/// removed in the end, or changes so late, stays as well; then the move has failed, but is done.
///
/// Threads: those of a `QVOperation`. It is started on the main thread.
class Move final : public QVFoundation::QVOperation,
                   public QVFoundation::QVSyncOperationProtocol<void>,
                   public QVFoundation::QVUndoableOperation {
public:
  /// Told on the main thread of a move that starts, and so of each that undoes or redoes one.
  using Starts = std::function<void(std::shared_ptr<Move>)>;

  Move(std::filesystem::path from, std::filesystem::path to, Starts starts);
  void startInBackground() override;
  void perform() override;
  std::shared_ptr<QVUndoableOperation> makeUndoOperation() override;

  /// The same move, to be tried once more.
  [[nodiscard]] std::shared_ptr<Move> again() const;

  /// What is moved where, for people.
  [[nodiscard]] std::string title() const;
  /// Whether it has ended, and can be undone if it is done. Asked on the main thread.
  [[nodiscard]] bool isSettled() const noexcept { return isSettled_; }
  /// Whether all is where it was to go; once it has ended.
  [[nodiscard]] bool isDone() const noexcept { return isDone_; }
  /// The bytes that are copied at this moment, or null.
  [[nodiscard]] std::shared_ptr<QVFoundation::NSProgress> bytes() const;

private:
  void giveName(const std::filesystem::path& item) const;
  void moveToOtherVolume();
  void copyTo(const std::filesystem::path& copied);
  [[nodiscard]] std::vector<std::string> flushAndRemove(const Inventory& original) const;
  [[nodiscard]] QVFoundation::NSError staying(const std::string& why) const;
  [[nodiscard]] QVFoundation::NSError stayingForOther() const;
  [[nodiscard]] QVFoundation::NSError leaving(const std::vector<std::string>& left) const;

  const std::filesystem::path from_, to_;
  const Starts starts_;
  bool isSettled_ = false;
  bool isDone_ = false;
};

}  // namespace example
