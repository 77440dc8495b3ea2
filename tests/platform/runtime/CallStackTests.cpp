#include <cerrno>
#include <csignal>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "QVFoundation/platform/runtime/Array.h"
#include "QVFoundation/platform/runtime/FatalError.h"
#include "QVFoundation/platform/runtime/NSException.h"

namespace QVFoundation {
namespace {

[[gnu::noinline]] void throwUnexported() { throw NSException(NSGenericException, "x", {{"key", 1}}); }

std::vector<std::string> framesOf(void (*call)()) {
  try {
    call();
  } catch (const NSException& exception) {
    return exception.callStackSymbols();
  }
  return {};
}

TEST(CallStack, namesTheThrowerFirst) {
  const auto frames = framesOf([] { (void)Array()[1]; });
  ASSERT_GT(frames.size(), 2U);
  EXPECT_TRUE(frames[0].starts_with("0  libQVFoundation.so")) << frames[0];
  EXPECT_NE(frames[0].find("  QVFoundation::Array::"), std::string::npos) << frames[0];
  EXPECT_NE(frames[0].find(" + "), std::string::npos) << frames[0];
}

TEST(CallStack, namesFunctionsThatAreNotExported) {
  const auto frames = framesOf(throwUnexported);
  ASSERT_GT(frames.size(), 2U);
  EXPECT_TRUE(frames[0].starts_with(std::string("0  ") + program_invocation_short_name + "  ")) << frames[0];
#ifdef QV_HAVE_LIBBACKTRACE
  EXPECT_NE(frames[0].find("throwUnexported"), std::string::npos) << frames[0];
  EXPECT_NE(frames[1].find("framesOf"), std::string::npos) << frames[1];
#endif
}

TEST(NSException, carriesNameReasonAndUserInfo) {
  NSException exception(NSRangeException, "Too far.", {{"key", 1}});
  EXPECT_STREQ(exception.what(), "Too far.");
  EXPECT_EQ(exception.userInfo()["key"], 1);
  exception = NSException(NSRangeException, {});
  EXPECT_STREQ(exception.what(), "NSRangeException");
  EXPECT_EQ(exception.reason(), std::nullopt);
}

TEST(FatalErrorDeath, saysWhatAndWhereAndAborts) {
  EXPECT_EXIT(fatalError("the roof is on fire", "roof.cpp", 7), testing::KilledBySignal(SIGABRT),
              "^Fatal error: the roof is on fire: file roof.cpp, line 7\n0  ");
  const auto fail = [] { fatalError("here"); };
  const std::string line = std::to_string(__LINE__ - 1);
  EXPECT_EXIT(fail(), testing::KilledBySignal(SIGABRT),
              "here: file .*CallStackTests.cpp, line " + line + "\n");
}

}  // namespace
}  // namespace QVFoundation
