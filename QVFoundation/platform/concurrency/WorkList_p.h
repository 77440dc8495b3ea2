#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <utility>

#include "QVFoundation/platform/concurrency/Work.h"

namespace QVFoundation::detail {

/// Work that waits, first in, first out.
///
/// It stands in pieces that follow each other, so that nothing is moved when much of it comes: whoever waits
/// for the owner's lock would wait for that.
///
/// Threads: used under its owner's lock.
class WorkList {
public:
  WorkList() = default;
  WorkList(const WorkList&) = delete;
  WorkList& operator=(const WorkList&) = delete;
  ~WorkList() {
    dropAll(first_);
    dropAll(spare_);
  }
  friend void swap(WorkList& a, WorkList& b) noexcept {
    std::swap(a.first_, b.first_);
    std::swap(a.last_, b.last_);
    std::swap(a.begin_, b.begin_);
    std::swap(a.end_, b.end_);
    std::swap(a.count_, b.count_);
    std::swap(a.spare_, b.spare_);
    std::swap(a.spares_, b.spares_);
  }

  [[nodiscard]] bool empty() const noexcept { return count_ == 0; }
  [[nodiscard]] std::size_t count() const noexcept { return count_; }

  void push(Work&& work) {
    if (end_ == Piece::size || last_ == nullptr) append();
    last_->works[end_++] = std::move(work);
    ++count_;
  }

  [[nodiscard]] Work pop() noexcept {
    if (begin_ == Piece::size) dropFirst();
    Work& first = first_->works[begin_++];
    if (--count_ == 0) begin_ = end_ = 0;  // of the one piece that is left
    return std::move(first);
  }

private:
  struct Piece {
    static constexpr std::size_t size = 32;
    std::array<Work, size> works;
    std::unique_ptr<Piece> next;
  };
  static constexpr std::size_t sparesAtMost = 32;

  static void dropAll(std::unique_ptr<Piece>& pieces) noexcept {
    while (pieces != nullptr) pieces = std::move(pieces->next);
  }

  void append() {
    std::unique_ptr<Piece> piece = std::move(spare_);
    if (piece != nullptr) {
      spare_ = std::move(piece->next);
      --spares_;
    } else {
      piece = std::make_unique<Piece>();
    }
    Piece* const added = piece.get();
    if (last_ != nullptr) {
      last_->next = std::move(piece);
    } else {
      first_ = std::move(piece);
    }
    last_ = added;
    end_ = 0;
  }

  void dropFirst() noexcept {
    auto dropped = std::exchange(first_, std::move(first_->next));
    begin_ = 0;
    if (spares_ == sparesAtMost) return;
    dropped->next = std::move(spare_);
    spare_ = std::move(dropped);
    ++spares_;
  }

  std::unique_ptr<Piece> first_;
  Piece* last_ = nullptr;
  std::size_t begin_ = 0;  // in the first piece
  std::size_t end_ = 0;    // in the last one
  std::size_t count_ = 0;
  std::unique_ptr<Piece> spare_;
  std::size_t spares_ = 0;
};

}  // namespace QVFoundation::detail
