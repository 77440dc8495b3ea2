#include "QVFoundation/adapters/UVMainQueue.h"

#include "tests/adapters/MainQueueInLoop.h"

namespace QVFoundation {

namespace {

class UVLoop {
public:
  UVLoop() { uv_loop_init(&loop_); }
  UVLoop(const UVLoop&) = delete;
  UVLoop& operator=(const UVLoop&) = delete;
  ~UVLoop() {
    uv_run(&loop_, UV_RUN_DEFAULT);
    EXPECT_EQ(uv_loop_close(&loop_), 0) << "something is still attached";
  }

  [[nodiscard]] std::unique_ptr<UVMainQueue> attach() { return std::make_unique<UVMainQueue>(&loop_); }
  void run() { uv_run(&loop_, UV_RUN_DEFAULT); }
  void quit() { uv_stop(&loop_); }
  static void runWithin() { runMainQueue(); }
  static void quitWithin() { stopMainQueue(); }
  void afterwards(std::function<void()> function) {
    struct Timer {
      uv_timer_t handle;
      std::function<void()> function;
    };
    auto* const timer = new Timer{{}, std::move(function)};
    timer->handle.data = timer;
    uv_timer_init(&loop_, &timer->handle);
    const auto call = [](uv_timer_t* handle) {
      static_cast<Timer*>(handle->data)->function();
      const auto destroy = [](uv_handle_t* closed) { delete static_cast<Timer*>(closed->data); };
      uv_close(reinterpret_cast<uv_handle_t*>(handle), destroy);
    };
    uv_timer_start(&timer->handle, call, 1, 0);
  }

private:
  uv_loop_t loop_{};
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(UV, MainQueueInLoop, UVLoop);

TEST(UVMainQueue, isAttachedToALoopOnceAndEndsWithIt) {
  UVLoop loop;
  auto attached = loop.attach();
  EXPECT_THROW(static_cast<void>(loop.attach()), NSError);
  loop.afterwards([&] { attached.reset(); });
  loop.run();  // would go on for ever
}

}  // namespace QVFoundation
