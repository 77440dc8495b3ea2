#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "QVFoundation/platform/concurrency/Mutex.h"
#include "QVFoundation/platform/tracing/OSSignpostSink.h"

namespace QVFoundation::testing {

/// Keeps all signposts that it gets.
class RecordingSignpostSink : public OSSignpostSink {
public:
  void write(const OSSignpost& signpost) override {
    const MutexLock lock(mutex_);
    signposts_.push_back(signpost);
  }

  [[nodiscard]] std::vector<OSSignpost> take() {
    const MutexLock lock(mutex_);
    return std::exchange(signposts_, {});
  }

private:
  Mutex mutex_;
  std::vector<OSSignpost> signposts_ QV_GUARDED_BY(mutex_);
};

/// "event load, begin load, end load"
[[nodiscard]] inline std::string textOf(const std::vector<OSSignpost>& signposts) {
  constexpr const char* types[] = {"event ", "begin ", "end "};
  std::string text;
  for (const OSSignpost& signpost : signposts) {
    if (!text.empty()) text += ", ";
    text.append(types[static_cast<unsigned>(signpost.type)]).append(signpost.name.view());
  }
  return text;
}

/// Has a sink for signposts in place for a scope.
template <class Sink = RecordingSignpostSink>
class SignpostSinkInPlace {
public:
  template <class... Args>
  explicit SignpostSinkInPlace(Args&&... args)
      : sink_(std::make_shared<Sink>(std::forward<Args>(args)...)), previous_(setOSSignpostSink(sink_)) {}
  SignpostSinkInPlace(const SignpostSinkInPlace&) = delete;
  SignpostSinkInPlace& operator=(const SignpostSinkInPlace&) = delete;
  ~SignpostSinkInPlace() { setOSSignpostSink(previous_); }

  Sink* operator->() const { return sink_.get(); }

private:
  std::shared_ptr<Sink> sink_;
  std::shared_ptr<OSSignpostSink> previous_;
};

}  // namespace QVFoundation::testing
