#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <unordered_map>

#include "QVFoundation/platform/Export.h"
#include "QVFoundation/platform/files/Descriptor_p.h"

namespace QVFoundation::detail {

/// The one thread that waits for all descriptors for which nobody else does, and tells once when something can
/// be read or the other side is gone. That also serves those of processes, which can be "read" when theirs has
/// ended.
///
/// Callbacks are short: what belongs to others is handed to a queue.
///
/// Threads: any, also from inside a callback. No lock is held while one runs.
/// Ownership: borrows the descriptor, which is to be withdrawn before it is closed; owns the callback.
/// Errors: `std::system_error` where the system cannot take the descriptor, or has no thread to give.
class QV_TEST_EXPORT DescriptorWatch {
public:
  using Token = std::uint64_t;  // never 0
  using Callback = std::function<void()>;

  /// That of the process, which is never destroyed.
  static DescriptorWatch& shared();

  /// Starts the thread, so that only a shortage of memory can make a later `watch` fail.
  void prepare();
  /// Calls a callback once when the descriptor can be read. A file, which always can, is told of at once.
  [[nodiscard]] Token watch(int descriptor, Callback callback);
  /// The callback is not going to be called any more, and does not run on another thread when this returns.
  /// From inside of a callback nobody waits. Does nothing where it has been called.
  void withdraw(Token token);

private:
  struct Entry {
    int descriptor;
    Descriptor standIn;  // for what cannot be waited for under its own number
    Callback callback;
  };

  DescriptorWatch() = default;
  void prepareLocked();
  int add(Entry& entry, Token token) const;
  void remove(const Entry& entry) const;
  [[noreturn]] void run();
  void call(Token token);

  // The standard library's own, which its condition variables want.
  std::mutex mutex_;
  std::condition_variable callEnded_;
  std::unordered_map<Token, Entry> entries_;
  Token lastToken_ = 0;
  Token running_ = 0;  // whose callback runs now
  Descriptor set_;
};

}  // namespace QVFoundation::detail
