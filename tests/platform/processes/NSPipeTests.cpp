#include "QVFoundation/platform/processes/NSPipe.h"

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <latch>
#include <string>

#include <gtest/gtest.h>

#include "QVFoundation/platform/application/NSNotificationCenter.h"
#include "QVFoundation/platform/runtime/NSError.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "tests/platform/files/FailingSystem.h"
#include "tests/platform/processes/Children.h"
#include "tests/platform/processes/ProcessCallsOverride.h"

namespace QVFoundation {
namespace {

using testing::ProcessCallsOverride;
using testing::textOf;

TEST(NSPipe, carriesBytesAndClosesWhatItOwns) {
  const auto before = testing::openDescriptorCount();
  {
    const NSPipe pipe;
    EXPECT_EQ(fcntl(pipe.fileHandleForReading()->fileDescriptor(), F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(fcntl(pipe.fileHandleForWriting()->fileDescriptor(), F_GETFD), FD_CLOEXEC);
    pipe.fileHandleForWriting()->writeText("through");
    pipe.fileHandleForWriting()->closeFile();
    EXPECT_EQ(textOf(pipe.fileHandleForReading()->readDataToEndOfFile()), "through");
  }
  EXPECT_EQ(testing::openDescriptorCount(), before);
}

TEST(NSPipe, tellsHowMuchItTakesWhetherOrNotItGotMore) {
  const NSPipe standard;
  EXPECT_GE(NSPipe(NSPipe::Capacity::largest).capacity(), standard.capacity());
  ProcessCallsOverride calls;
  calls->setCapacity = [](int, int) { return errno = EPERM, -1; };
  const NSPipe refused(NSPipe::Capacity::largest);
  EXPECT_EQ(refused.capacity(), standard.capacity());
  // That much can be written without a reader.
  refused.fileHandleForWriting()->writeText(std::string(refused.capacity(), 'x'));
  EXPECT_EQ(refused.fileHandleForReading()->availableData().size(), refused.capacity());
}

TEST(NSPipe, throwsTheSystemsErrorWhereThereIsNone) {
  ProcessCallsOverride calls;
  calls->pipe = [](int*, int) { return errno = EMFILE, -1; };
  try {
    const NSPipe pipe;
    FAIL();
  } catch (const NSError& error) {
    EXPECT_EQ(error.domain(), NSPOSIXErrorDomain);
    EXPECT_EQ(error.code(), EMFILE);
  }
}

/// Counts the notifications about a handle.
class Notified {
public:
  explicit Notified(const std::shared_ptr<NSFileHandle>& handle)
      : token_(NSNotificationCenter::defaultCenter()->addObserverForName(
            std::string(NSFileHandleDataAvailableNotification), handle, nullptr, [this](const auto&) {
              ++count_;
              count_.notify_all();
            })) {}
  Notified(const Notified&) = delete;
  Notified& operator=(const Notified&) = delete;
  ~Notified() { NSNotificationCenter::defaultCenter()->removeObserver(token_); }

  void awaitCount(int count) const {
    for (int seen = count_; seen < count; seen = count_) count_.wait(seen);
  }
  [[nodiscard]] int count() const { return count_; }

private:
  std::atomic<int> count_ = 0;
  const std::shared_ptr<NSObject> token_;
};

TEST(NSFileHandleWaiting, notifiesOnceForEachTimeItIsAsked) {
  const NSPipe pipe;
  const auto& reading = pipe.fileHandleForReading();
  const Notified notified(reading);
  reading->waitForDataInBackgroundAndNotify();
  reading->waitForDataInBackgroundAndNotify();
  pipe.fileHandleForWriting()->writeText("first");
  notified.awaitCount(1);
  EXPECT_EQ(textOf(reading->availableData()), "first");
  reading->waitForDataInBackgroundAndNotify();
  pipe.fileHandleForWriting()->closeFile();
  notified.awaitCount(2);
  EXPECT_TRUE(reading->availableData().empty()) << "the end";
  EXPECT_EQ(notified.count(), 2);
}

TEST(NSFileHandleWaiting, endsWithTheHandleItsClosingOrOnRequest) {
  enum class End { letGo, close, stop };
  for (const End end : {End::letGo, End::close, End::stop}) {
    std::shared_ptr<NSFileHandle> writing, reading;
    {
      const NSPipe pipe;
      writing = pipe.fileHandleForWriting();
      reading = pipe.fileHandleForReading();
    }
    const Notified notified(reading);
    const int number = reading->fileDescriptor();
    reading->waitForDataInBackgroundAndNotify();
    if (end == End::stop) reading->stopWaitingForData();
    if (end == End::close) reading->closeFile();
    if (end == End::letGo) reading.reset();
    EXPECT_EQ(fcntl(number, F_GETFD) != -1, end == End::stop) << "the wait keeps nothing";
    writing->closeFile();
    // Another one's notification comes through, and it alone.
    const NSPipe other;
    const Notified otherNotified(other.fileHandleForReading());
    other.fileHandleForReading()->waitForDataInBackgroundAndNotify();
    other.fileHandleForWriting()->closeFile();
    otherNotified.awaitCount(1);
    EXPECT_EQ(notified.count(), 0);
  }
  const NSPipe closed;
  closed.fileHandleForReading()->closeFile();
  EXPECT_THROW(closed.fileHandleForReading()->waitForDataInBackgroundAndNotify(), NSException);
}

TEST(NSFileHandleWaiting, aHandleMayGoWhileItsNotificationIsOnTheWay) {
  for (int round = 0; round < 500; ++round) {
    auto pipe = std::make_unique<NSPipe>();
    pipe->fileHandleForReading()->waitForDataInBackgroundAndNotify();
    pipe->fileHandleForWriting()->closeFile();
    pipe.reset();
  }
}

TEST(NSFileHandle, theNullDeviceTakesEverythingAndGivesNothing) {
  const auto nowhere = NSFileHandle::fileHandleWithNullDevice();
  nowhere->writeText("gone");
  EXPECT_TRUE(nowhere->availableData().empty());
}

}  // namespace
}  // namespace QVFoundation
