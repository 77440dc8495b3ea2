#pragma once

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string>
#include <type_traits>
#include <unistd.h>

#include <gtest/gtest.h>

#include "QVFoundation/platform/files/SystemCalls_p.h"
#include "tests/platform/files/SystemCallsOverride.h"

namespace QVFoundation::testing {

/// Makes one call of the system fail for a scope: the first, the second, …, whichever comes. One thread only.
class FailingSystem {
public:
  /// Instead of a code: the process ends there, as if it were killed.
  static constexpr int endOfProcess = -1;

  FailingSystem(int failingCall, int code) : remaining_(failingCall), code_(code) {
    self_ = this;
    detail::SystemCalls& calls = detail::systemCalls();
    fail<&detail::SystemCalls::open>(calls);
    fail<&detail::SystemCalls::close>(calls);
    fail<&detail::SystemCalls::stat>(calls);
    fail<&detail::SystemCalls::read>(calls);
    fail<&detail::SystemCalls::write>(calls);
    fail<&detail::SystemCalls::sync>(calls);
    fail<&detail::SystemCalls::changeMode>(calls);
    fail<&detail::SystemCalls::changeOwner>(calls);
    fail<&detail::SystemCalls::lock>(calls);
    fail<&detail::SystemCalls::seek>(calls);
    fail<&detail::SystemCalls::readEntries>(calls);
    fail<&detail::SystemCalls::statAt>(calls);
    fail<&detail::SystemCalls::status>(calls);
    fail<&detail::SystemCalls::readLink>(calls);
    fail<&detail::SystemCalls::makeFolder>(calls);
    fail<&detail::SystemCalls::link>(calls);
    fail<&detail::SystemCalls::rename>(calls);
    fail<&detail::SystemCalls::remove>(calls);
    fail<&detail::SystemCalls::makeLink>(calls);
    fail<&detail::SystemCalls::makeNode>(calls);
    fail<&detail::SystemCalls::changeModeAt>(calls);
    fail<&detail::SystemCalls::changeOwnerAt>(calls);
    fail<&detail::SystemCalls::setTimesAt>(calls);
    fail<&detail::SystemCalls::clone>(calls);
    fail<&detail::SystemCalls::copyRange>(calls);
    fail<&detail::SystemCalls::truncate>(calls);
    fail<&detail::SystemCalls::setTimes>(calls);
    fail<&detail::SystemCalls::syncData>(calls);
    fail<&detail::SystemCalls::syncRange>(calls);
    fail<&detail::SystemCalls::syncVolume>(calls);
    fail<&detail::SystemCalls::volume>(calls);
    fail<&detail::SystemCalls::handleOf>(calls);
    fail<&detail::SystemCalls::openHandle>(calls);
    fail<&detail::SystemCalls::listAttributes>(calls);
    fail<&detail::SystemCalls::getAttribute>(calls);
    fail<&detail::SystemCalls::setAttribute>(calls);
    fail<&detail::SystemCalls::removeAttribute>(calls);
    fail<&detail::SystemCalls::listAttributesOf>(calls);
    fail<&detail::SystemCalls::getAttributeOf>(calls);
    fail<&detail::SystemCalls::setAttributeOf>(calls);
    fail<&detail::SystemCalls::removeAttributeOf>(calls);
  }
  FailingSystem(const FailingSystem&) = delete;
  FailingSystem& operator=(const FailingSystem&) = delete;

  /// Whether as many calls came.
  [[nodiscard]] bool hasFailed() const { return remaining_ < 0; }

private:
  template <auto Call>
  struct Failing;
  template <class Result, class... Args, Result (*detail::SystemCalls::*Call)(Args...)>
  struct Failing<Call> {
    static Result call(Args... args) {
      const bool fails = self_->remaining_-- == 0;
      // A descriptor is gone even where closing it fails.
      if (!fails || std::is_same_v<Failing, Failing<&detail::SystemCalls::close>>) {
        const Result result = (self_->system_.original.*Call)(args...);
        if (!fails) return result;
      }
      if (self_->code_ == endOfProcess) _exit(EXIT_SUCCESS);
      errno = self_->code_;
      return -1;
    }
  };

  template <auto Call>
  static void fail(detail::SystemCalls& calls) {
    calls.*Call = &Failing<Call>::call;
  }

  static inline FailingSystem* self_ = nullptr;
  int remaining_;
  const int code_;
  const SystemCallsOverride system_;
};

[[nodiscard]] inline std::ptrdiff_t openDescriptorCount() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

/// Does something again and again, and has another call of the system fail each time, until no call is left
/// to fail. Each time `prepare` comes first, and `check` gets what the action returned.
template <class Prepare, class Action, class Check>
void failAtEachCall(const Prepare& prepare, const Action& action, const Check& check) {
  for (int call = 0;; ++call) {
    SCOPED_TRACE("call " + std::to_string(call));
    prepare();
    const auto descriptors = openDescriptorCount();
    bool hasFailed = false;
    {
      auto result = [&] {
        const FailingSystem system(call, EIO);
        auto made = action();
        hasFailed = system.hasFailed();
        return made;
      }();
      check(result);
    }
    EXPECT_EQ(openDescriptorCount(), descriptors);
    if (!hasFailed) return;
  }
}

}  // namespace QVFoundation::testing
