#include <cerrno>
#include <csignal>

#include <gmock/gmock.h>

#include "QVFoundation/Platform.h"

namespace QVFoundation {
namespace {

using ::testing::ContainsRegex;
using ::testing::StartsWith;

[[gnu::noinline]] void throwUnexported() { throw NSException(NSGenericException, {}); }

TEST(CallStack, namesTheThrowerFirstEvenIfItIsNotExported) {
  try {
    (void)Array()[1];
  } catch (const NSException& exception) {
    EXPECT_THAT(exception.callStackSymbols()[0],
                ContainsRegex("^0  libQVFoundation.so.*  QVFoundation::Array::.* \\+ "));
  }
  try {
    throwUnexported();
  } catch (const NSException& exception) {
    EXPECT_STREQ(exception.what(), "NSGenericException") << "without a reason";
    const auto frames = exception.callStackSymbols();
    EXPECT_THAT(frames[0], StartsWith(std::string("0  ") + program_invocation_short_name + "  "));
#ifdef QV_HAVE_LIBBACKTRACE
    EXPECT_THAT(frames[0] + frames[1], ContainsRegex("throwUnexported.*TestBody"));
#endif
  }
}

TEST(FatalErrorDeath, saysWhatAndWhereAndAborts) {
  EXPECT_EXIT(fatalError("the roof is on fire", "roof.cpp", 7), ::testing::KilledBySignal(SIGABRT),
              "^Fatal error: the roof is on fire: file roof.cpp, line 7\n0  ");
  EXPECT_DEATH(fatalError("here"), "here: file .*CallStackTests.cpp, line " + std::to_string(__LINE__));
}

}  // namespace
}  // namespace QVFoundation
