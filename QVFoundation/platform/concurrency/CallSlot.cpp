#include <condition_variable>
#include <linux/membarrier.h>
#include <mutex>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "QVFoundation/platform/concurrency/CallSlot_p.h"

namespace QVFoundation::detail {

namespace {

long membarrier(int command) noexcept { return syscall(SYS_membarrier, command, 0, 0); }

bool registerForBarriers() noexcept { return membarrier(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED) == 0; }

std::atomic<CallRecord*> allRecords{nullptr};

void leaveRecord(void* record) noexcept {
  CallRecord::own = nullptr;
  static_cast<CallRecord*>(record)->hasThread.store(false, std::memory_order_release);
}

/// Has `leaveRecord` called when this thread ends, after its thread-local objects are gone: those may still
/// call. Where the process is out of keys, records stay with threads that have ended.
void leaveAtEndOfThread(CallRecord& record) noexcept {
  struct Key {
    pthread_key_t key{};
    const bool isMade = pthread_key_create(&key, leaveRecord) == 0;
  };
  static const Key end;
  if (end.isMade) pthread_setspecific(end.key, &record);
}

CallRecord& someRecord() {
  for (CallRecord* record = allRecords.load(std::memory_order_acquire); record != nullptr;
       record = record->next) {
    if (!record->hasThread.exchange(true, std::memory_order_acquire)) return *record;
  }
  auto* record = new CallRecord;
  record->next = allRecords.load(std::memory_order_relaxed);
  while (!allRecords.compare_exchange_weak(record->next, record, std::memory_order_acq_rel)) {
  }
  return *record;
}

template <class Predicate>
bool anySlot(const CallRecord* except, const Predicate& predicate) {
  for (CallRecord* record = allRecords.load(std::memory_order_acquire); record != nullptr;
       record = record->next) {
    if (record == except) continue;
    for (CallSlot* slot = &record->first; slot != nullptr;
         slot = slot->inner.load(std::memory_order_acquire)) {
      if (predicate(*slot)) return true;
    }
  }
  return false;
}

/// Where those sleep who wait for a call to end. It is rare, so one place serves all.
struct WaitingRoom {
  std::mutex mutex;
  std::condition_variable callEnded;

  static WaitingRoom& shared() {
    static WaitingRoom& room = *new WaitingRoom;
    return room;
  }
};

}  // namespace

const bool CallSlot::kernelOrdersThreads = registerForBarriers();

constinit thread_local CallRecord* CallRecord::own = nullptr;

CallRecord& CallRecord::take() {
  own = &someRecord();
  leaveAtEndOfThread(*own);
  return *own;
}

bool CallSlot::isPinned(const void* table) noexcept {
  return anySlot(nullptr, [table](const CallSlot& slot) { return slot.pinned.load() == table; });
}

bool CallSlot::othersAreIn(const void* group) noexcept {
  return anySlot(CallRecord::own, [group](const CallSlot& slot) {
    const void* const its = slot.group.load();
    return its != nullptr && (group == nullptr || its == group);
  });
}

void CallSlot::awaitEndOf(const Listener& listener) noexcept {
  WaitingRoom& room = WaitingRoom::shared();
  anySlot(CallRecord::own, [&](const CallSlot& slot) {
    std::unique_lock lock(room.mutex);
    room.callEnded.wait(lock, [&] { return slot.current.load(std::memory_order_acquire) != &listener; });
    return false;
  });
}

void CallSlot::wakeWaiting() noexcept {
  WaitingRoom& room = WaitingRoom::shared();
  {
    const std::lock_guard lock(room.mutex);
  }  // whoever waits has either not looked yet or sleeps
  room.callEnded.notify_all();
}

void CallSlot::orderAllThreads() noexcept {
  std::atomic_thread_fence(std::memory_order_seq_cst);
  if (!kernelOrdersThreads) return;
  // A child of a fork has to register again.
  while (membarrier(MEMBARRIER_CMD_PRIVATE_EXPEDITED) != 0 && registerForBarriers()) {
  }
}

}  // namespace QVFoundation::detail
