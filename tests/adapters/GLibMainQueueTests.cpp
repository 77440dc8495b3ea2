#include "QVFoundation/adapters/GLibMainQueue.h"

#include "tests/adapters/MainQueueInLoop.h"

namespace QVFoundation {

namespace {

class GLibLoop {
public:
  using Function = std::function<void()>;

  GLibLoop()
      : context_(isMainThread() ? g_main_context_ref(g_main_context_default()) : g_main_context_new()) {
    loops_.push_back(g_main_loop_new(context_, FALSE));
  }
  GLibLoop(const GLibLoop&) = delete;
  GLibLoop& operator=(const GLibLoop&) = delete;
  ~GLibLoop() {
    for (GMainLoop* loop : loops_) g_main_loop_unref(loop);
    g_main_context_unref(context_);
  }

  [[nodiscard]] std::unique_ptr<GLibMainQueue> attach() const {
    return std::make_unique<GLibMainQueue>(context_);
  }
  void run() { g_main_loop_run(loops_.front()); }
  void quit() { g_main_loop_quit(loops_.front()); }
  void runWithin() {
    loops_.push_back(g_main_loop_new(context_, FALSE));
    g_main_loop_run(loops_.back());
  }
  void quitWithin() { g_main_loop_quit(loops_.back()); }
  void afterwards(Function function) {
    GSource* const source = g_timeout_source_new(1);
    const GSourceFunc call = [](void* kept) -> gboolean {
      (*static_cast<Function*>(kept))();
      return G_SOURCE_REMOVE;
    };
    const GDestroyNotify destroy = [](void* kept) { delete static_cast<Function*>(kept); };
    g_source_set_callback(source, call, new Function(std::move(function)), destroy);
    g_source_attach(source, context_);
    g_source_unref(source);
  }

private:
  GMainContext* context_;
  std::vector<GMainLoop*> loops_;
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(GLib, MainQueueInLoop, GLibLoop);

}  // namespace QVFoundation
