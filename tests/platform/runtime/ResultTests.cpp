#include "QVFoundation/platform/runtime/Result.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace QVFoundation {
namespace {

struct OwnFailure : std::runtime_error {
  OwnFailure() : std::runtime_error("own") {}
  std::string extra = "kept";
};

static_assert(std::convertible_to<const char*, Result<std::string>>);
static_assert(!std::convertible_to<int, Result<std::vector<int>>>, "a size is no vector");
static_assert(!std::constructible_from<Result<int>, NSError>);

TEST(Result, holdsWhatWasReturned) {
  const auto result = Result<std::string>::of([] { return "text"; });
  ASSERT_TRUE(result);
  EXPECT_EQ(*result, "text");
  EXPECT_EQ(result->size(), 4U);
  EXPECT_EQ(result.exception(), nullptr);
}

TEST(Result, throwsTheCallersOwnTypeAgain) {
  const auto result = Result<int>::of([]() -> int { throw OwnFailure(); });
  ASSERT_FALSE(result.hasValue());
  for (int i = 0; i < 2; ++i) {
    try {
      (void)*result;
      FAIL() << "there is no value";
    } catch (const OwnFailure& failure) {
      EXPECT_EQ(failure.extra, "kept");
    }
  }
  EXPECT_EQ(result.error().localizedDescription(), "own");
  EXPECT_THROW((void)result.value(), OwnFailure);
  EXPECT_THROW((void)Result<int>::of([]() -> int { throw 5; }).value(), int);
}

TEST(Result, keepsAnErrorAsItIs) {
  const NSError error("D", 1);
  const auto result = Result<int>::failure(error);
  EXPECT_EQ(result.error().address(), error.address());
  EXPECT_THROW((void)result.value(), NSError);
}

TEST(Result, maybeOfNothing) {
  EXPECT_TRUE(Result<void>());
  EXPECT_TRUE(Result<void>::of([] { return 5; }));
  const auto failed = Result<void>::of([] { throw OwnFailure(); });
  EXPECT_THROW((void)failed.value(), OwnFailure);
}

TEST(Result, handsOutWhatCanOnlyBeMoved) {
  auto result = Result<std::unique_ptr<int>>::of([] { return std::make_unique<int>(3); });
  EXPECT_EQ(**result, 3);
  Result<std::unique_ptr<int>> moved = std::move(result);
  const std::unique_ptr<int> content = *std::move(moved);
  EXPECT_EQ(*content, 3);
}

TEST(ResultDeath, askingAValueForItsErrorIsAFault) {
  const Result<int> result = 3;
  EXPECT_DEATH((void)result.error(), "Fatal error: There is no exception");
}

}  // namespace
}  // namespace QVFoundation
