#include "QVFoundation/adapters/QtMainQueue.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QThread>
#include <QTimer>
#include <optional>

#include "tests/adapters/MainQueueInLoop.h"

namespace QVFoundation {

namespace {

/// That of the application on the main thread; elsewhere one that the thread has for itself.
class QtLoop {
public:
  QtLoop() {
    static char name[] = "loops-tests";
    static char* arguments[] = {name, nullptr};
    static int count = 1;
    if (isMainThread()) application_.emplace(count, arguments);
    loop_.emplace();
    within_.emplace();
  }

  [[nodiscard]] static std::unique_ptr<QtMainQueue> attach() { return std::make_unique<QtMainQueue>(); }
  void run() { loop_->exec(); }
  void quit() { loop_->quit(); }
  void runWithin() { within_->exec(); }
  void quitWithin() { within_->quit(); }
  void afterwards(std::function<void()> function) { QTimer::singleShot(1, &*loop_, std::move(function)); }

private:
  std::optional<QCoreApplication> application_;
  std::optional<QEventLoop> loop_;
  std::optional<QEventLoop> within_;
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Qt, MainQueueInLoop, QtLoop);

TEST(QtMainQueue, asksForAnApplication) { EXPECT_THROW(QtMainQueue(), NSException); }

}  // namespace QVFoundation
