#include "QVFoundation/operations/QVOperation.h"

#include <chrono>
#include <cmath>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "QVFoundation/errors/QVErrorConstructors.h"
#include "QVFoundation/operations/QVProgressUtilities.h"
#include "QVFoundation/platform/concurrency/MainQueue.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "QVFoundation/platform/runtime/NSKeyValueObserving.h"
#include "QVFoundation/platform/tracing/OSSignpostSink.h"
#include "tests/logging/LogTesting.h"
#include "tests/operations/TestOperations.h"
#include "tests/platform/runtime/RaisedException.h"

namespace QVFoundation {
namespace {

using ::testing::AllOf;
using testing::BodyOperation;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::KeepingWriter;
using testing::operationOf;
using testing::raisedBy;
using testing::runMainQueueUntil;
using ::testing::StartsWith;

using Steps = std::vector<std::string>;

std::string errorOf(const QVOperation& operation) {
  const auto error = operation.operationError();
  return error ? error->localizedDescription() : "none";
}

struct Size {
  int width, height;
  friend bool operator==(const Size&, const Size&) = default;
};

TEST(QVOperationTest, hasAnErrorUntilItHasRun) {
  const auto operation = operationOf<int>([](auto&) { return 42; });
  EXPECT_EQ(errorOf(*operation), "BodyOperation has not been run yet");
  EXPECT_TRUE(operation->operationResult().isNothing());
  EXPECT_FALSE(operation->result());
  operation->start();
  EXPECT_EQ(errorOf(*operation), "none");
  EXPECT_EQ(operation->operationResult(), Value(42));
  EXPECT_EQ(operation->result().value(), 42);
  EXPECT_EQ(operation->valueForKey("operationResult"), Value(42));
  EXPECT_GT(operation->completionDuration().count(), 0);
  EXPECT_GT(operation->timingInfo()->elapsedTime("BodyOperation").count(), 0);
}

TEST(QVOperationTest, givesAnyTypeThatCanBeCopied) {
  const auto size = operationOf<Size>([](auto&) { return Size{3, 4}; });
  size->start();
  EXPECT_EQ(size->result().value(), (Size{3, 4}));
  EXPECT_EQ(*size->operationResult().boxedContent<Size>(), (Size{3, 4}));
  struct Row {};  // without a comparison
  const auto rows = operationOf<std::vector<Row>>([](auto&) { return std::vector<Row>(3); });
  rows->start();
  EXPECT_EQ(rows->result().value().size(), 3U);
  EXPECT_EQ(rows->operationResult().boxedContent<std::vector<Row>>()->size(), 3U);
  const auto nothing = operationOf([](auto&) {});
  nothing->start();
  EXPECT_TRUE(nothing->result().hasValue());
  EXPECT_TRUE(nothing->operationResult().isNothing());
  EXPECT_FALSE(nothing->operationError());
}

TEST(QVOperationTest, isNamedAfterItsClassUnlessToldOtherwise) {
  const auto operation = operationOf([](auto&) {});
  EXPECT_EQ(operation->name(), "BodyOperation");
  operation->setName("Import");
  EXPECT_EQ(operation->name(), "Import");
  operation->setName(std::nullopt);
  EXPECT_EQ(operation->name(), std::nullopt);
}

/// Looks at its progress, or does not, in its hook and in its body.
class LookingOperation : public QVOperation, public QVSyncOperationProtocol<void> {
public:
  enum class Look { never, inHook, inBody };
  explicit LookingOperation(Look look) : QVOperation("LookingOperation"), look_(look) {}
  void calculateSegmentCosts() override {
    if (look_ == Look::inHook) (void)progress();
  }
  void perform() override {
    if (look_ == Look::inBody) (void)progress();
  }

private:
  const Look look_;
};

TEST(QVOperationTest, hasTheSameProgressWheneverItIsFirstAskedFor) {
  using Look = LookingOperation::Look;
  const struct {
    const char* row;
    bool looksBefore;
    Look look;
  } rows[] = {{"before", true, Look::never},
              {"in the hook", false, Look::inHook},
              {"in the body", false, Look::inBody},
              {"afterwards", false, Look::never}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.row);
    const auto operation = std::make_shared<LookingOperation>(row.look);
    if (row.looksBefore) {
      EXPECT_EQ(name(*operation->progress()), std::nullopt);  // until it runs
    }
    operation->start();
    const auto progress = operation->progress();
    EXPECT_EQ(name(*progress), "LookingOperation");
    EXPECT_TRUE(progress->isPausable());
    EXPECT_EQ(progress->localizedAdditionalDescription(), "");
    progress->pause();
    runMainQueueUntil([&] { return operation->isPaused(); });
    progress->resume();
    runMainQueueUntil([&] { return !operation->isPaused(); });
  }
}

TEST(QVOperationTest, hasOneProgressThoughSomebodyLooksWhileItBegins) {
  for (int round = 0; round < 200; ++round) {
    std::shared_ptr<NSProgress> inBody;
    const auto operation = operationOf([&](BodyOperation<>& self) {
      inBody = self.progress();
      EXPECT_EQ(name(*inBody), "BodyOperation");
      EXPECT_TRUE(inBody->isPausable());
    });
    operation->startInBackground();
    const auto seen = operation->progress();
    operation->waitUntilFinished();
    EXPECT_EQ(seen, inBody);
    EXPECT_EQ(name(*seen), "BodyOperation");
  }
}

/// An operation whose parts fail as a test says.
class FailingOperation : public QVOperation, public QVSyncOperationProtocol<int> {
public:
  FailingOperation() : QVOperation("FailingOperation") {}
  void calculateSegmentCosts() override {
    if (inHook) inHook();
  }
  int perform() override {
    progress()->setTotalUnitCount(10);
    if (inBody) inBody();
    return 1;
  }
  std::function<void()> inHook, inBody;
};

TEST(QVOperationTest, failsWithWhateverLeavesItsHooksAndItsBody) {
  const struct {
    const char* row;
    std::function<void(FailingOperation&, std::function<void()>)> put;
    std::function<void()> fail;
    const char* description;
    bool isShownComplete;
  } rows[] = {
      {"body, any exception", [](auto& o, auto f) { o.inBody = f; }, [] { throw std::runtime_error("full"); },
       "full", true},
      {"body, an error", [](auto& o, auto f) { o.inBody = f; }, [] { throw errorWithDescription("Gone"); },
       "Gone", true},
      {"body, no exception", [](auto& o, auto f) { o.inBody = f; }, [] { throw 5; }, "nknown exception",
       true},
      {"body, raised", [](auto& o, auto f) { o.inBody = f; },
       [] { throw NSException(NSInvalidArgumentException, "bad"); }, "bad", false},
      {"hook", [](auto& o, auto f) { o.inHook = f; }, [] { throw std::runtime_error("early"); }, "early",
       false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.row);
    const auto operation = std::make_shared<FailingOperation>();
    row.put(*operation, row.fail);
    operation->start();
    EXPECT_TRUE(operation->isFinished());
    EXPECT_THAT(errorOf(*operation), HasSubstr(row.description));
    EXPECT_EQ(operation->progress()->isFinished(), row.isShownComplete);
    EXPECT_GT(operation->timingInfo()->elapsedTime("FailingOperation").count(), 0);
    EXPECT_GT(operation->completionDuration().count(), 0);
  }
  const auto raising = std::make_shared<FailingOperation>();
  raising->inBody = rows[3].fail;
  raising->start();
  EXPECT_EQ(raising->operationError()->code(), 1003);
  const auto throwing = std::make_shared<FailingOperation>();
  throwing->inBody = rows[0].fail;
  throwing->start();
  EXPECT_THROW((void)throwing->result().value(), std::runtime_error);  // as it was thrown
}

class NoBodyOperation : public QVOperation {
public:
  NoBodyOperation() : QVOperation("NoBodyOperation") {}
};

/// Stores something else than it says.
class LyingOperation : public QVOperation, public QVOperationProtocol<Size> {
public:
  LyingOperation() : QVOperation("LyingOperation") {}
  void main() override { setResultStorage(QVAnyResult::success(std::string("text"))); }
};

TEST(QVOperationTest, saysWhatASubclassDoesWrong) {
  const auto bodiless = std::make_shared<NoBodyOperation>();
  bodiless->start();
  EXPECT_EQ(errorOf(*bodiless),
            "QVOperation subclass NoBodyOperation does not conform to QVOperationProtocol");
  const auto lying = std::make_shared<LyingOperation>();
  lying->start();
  EXPECT_THAT(lying->result().error().localizedDescription(),
              AllOf(StartsWith("Operation LyingOperation returned incorrect result type (expected "),
                    HasSubstr("Size got text")));
}

TEST(QVOperationTest, callsItsRowOfATimelineByItsNameAndLeavesItsPartsThere) {
  struct NamesOfLanes : OSSignpostSink {
    void write(const OSSignpost& signpost) override { EXPECT_EQ(signpost.lane, lane); }
    void nameLane(OSSignpostID its, std::string_view name) override {
      names.emplace_back(name);
      lane = its;
    }
    Steps names;
    OSSignpostID lane{nullptr};
  };
  const auto part = operationOf([](auto&) {});
  const auto whole = operationOf([&](BodyOperation<>& self) { self.performSubOperation(part, 0); });
  whole->setName("Classical");
  const auto sink = std::make_shared<NamesOfLanes>();
  const auto previous = setOSSignpostSink(sink);
  whole->start();
  setOSSignpostSink(previous);
  EXPECT_THAT(sink->names, ElementsAre("Classical"));
}

TEST(QVOperationTest, mayRunAgain) {
  int runs = 0;
  const auto operation = operationOf<int>([&](auto&) { return ++runs; });
  operation->start();
  operation->start();  // it has ended
  EXPECT_EQ(operation->result().value(), 1);
  operation->main();
  EXPECT_EQ(operation->result().value(), 2);
}

TEST(QVOperationTest, keepsItsFirstErrorWhenItIsCancelledBeforeItStarts) {
  const auto operation = operationOf([](auto&) { FAIL(); });
  operation->cancel();
  operation->start();
  EXPECT_TRUE(operation->isFinished());
  EXPECT_EQ(errorOf(*operation), "BodyOperation has not been run yet");
}

TEST(QVOperationTest, saysWhyItWasCancelled) {
  Steps steps;
  const auto operation = operationOf([&](BodyOperation<>& self) {
    EXPECT_FALSE(self.checkForCancellation());
    self.checkForCancellation([&] { steps.emplace_back("too early"); });
    self.cancel();
    steps.push_back(self.checkForCancellation()->localizedDescription());
    self.cancelWithLocalizedDescription("Stopped");
    try {
      self.checkForCancellation([&] { steps.emplace_back("cleaned up"); });
    } catch (const NSError& error) {
      steps.push_back(error.localizedDescription());
      EXPECT_EQ(error.domain(), "QVErrorDomain");
      EXPECT_EQ(error.code(), 1002);
      EXPECT_FALSE(error.localizedRecoverySuggestion());
    }
    self.checkForCancellationAndReturnError();
  });
  operation->setName("Foo");
  operation->start();
  EXPECT_THAT(steps, ElementsAre("The Foo operation was cancelled", "cleaned up", "Stopped"));
  EXPECT_EQ(errorOf(*operation), "Stopped");
}

TEST(QVOperationTest, tellsTheMainThreadThatItHasEnded) {
  const auto operation = operationOf<int>([](auto&) { return 7; });
  std::optional<int> result;
  std::weak_ptr<QVOperation> shared;
  operation->startInBackgroundWithMainThreadCompletionHandler([&](BodyOperation<int>& ended) {
    EXPECT_TRUE(isMainThread());
    EXPECT_TRUE(ended.isFinished());
    result = ended.result().value();
  });
  runMainQueueUntil([&] { return result.has_value(); });
  EXPECT_EQ(result, 7);
  EXPECT_FALSE(operation->completionBlock());
}

TEST(QVOperationTest, isKeptUntilItsHandlerHasRun) {
  std::weak_ptr<QVOperation> kept;
  int result = 0;
  {
    const auto operation = operationOf<int>([](auto&) { return 7; });
    kept = operation;
    operation->startInBackgroundWithMainThreadCompletionHandler(
        [&](BodyOperation<int>& ended) { result = ended.result().value(); });
  }
  runMainQueueUntil([&] { return kept.expired(); });
  EXPECT_EQ(result, 7);
}

TEST(QVOperationTest, tellsObserversOfItsResult) {
  const auto operation = operationOf<int>([](auto&) { return 7; });
  Steps steps;
  const auto note = [&](const char* key) {
    return observe(*operation, key, NSKeyValueObservingOptionNew,
                   [&steps, key](BodyOperation<int>&, const NSKeyValueChange& change) {
                     steps.push_back(std::string(key) + ' ' + change.newValue().description());
                   });
  };
  const auto finished = note("isFinished");
  const auto error = note("operationError");
  const auto result = note("operationResult");
  const auto logger = note("logDebugMarker");
  operation->setLogDebugMarker(true);
  operation->start();
  EXPECT_THAT(steps,
              ElementsAre("logDebugMarker 1", "operationError (null)", "operationResult 7", "isFinished 1"));
}

// Logging

struct LoggedOperation {
  LoggedOperation() { operation->setLogger(std::make_shared<QVLogger>(writer, formatter, filter)); }

  std::shared_ptr<KeepingWriter> writer = std::make_shared<KeepingWriter>();
  std::shared_ptr<QVLogFormatter> formatter = std::make_shared<QVLogBasicFormatter>();
  std::shared_ptr<QVLogLevelFilter> filter = std::make_shared<QVLogLevelFilter>();
  std::shared_ptr<BodyOperation<>> operation = operationOf([](auto&) {});
};

TEST(QVOperationLoggingTest, forwardsToItsLogger) {
  const LoggedOperation its;
  QVOperation& operation = *its.operation;
  its.filter->setDebugLoggingEnabled(true);
  EXPECT_FALSE(operation.logError(errorWithDescription("Gone")));
  EXPECT_EQ(operation.logError(userCancelledError()), userCancelledError());
  operation.logErrorString(std::nullopt);
  operation.logErrorString("100 % full");
  operation.logInfoString("%@");
  operation.logInfo("Hello", "to be translated");
  operation.logDebugString("debug");
  operation.logDebugBlock([] { return std::string("block"); });
  EXPECT_THAT(its.writer->take(), ElementsAre(HasSubstr("Gone"), "An error occurred: 100 % full", "%@",
                                              "Hello", "debug", "block"));
  its.operation->setLogDebugMarker(true);
  its.operation->start();
  EXPECT_THAT(its.writer->take(), ElementsAre("➡️ BodyOperation"));
}

TEST(QVOperationLoggingTest, evaluatesNothingThatNobodyReads) {
  const LoggedOperation its;
  its.filter->setDebugLoggingEnabled(false);
  const auto unread = [] {
    ADD_FAILURE();
    return std::string();
  };
  its.operation->logDebugBlock(unread);
  its.operation->setLogger(nullptr);
  its.operation->logDebugBlock(unread);
  EXPECT_FALSE(its.operation->logError(errorWithDescription("Gone")));
}

TEST(QVOperationLoggingTest, logsWhatIsThrownOrThrowsItOn) {
  const LoggedOperation its;
  QVOperation& operation = *its.operation;
  const auto fail = []() -> int { throw std::runtime_error("full"); };
  const auto stop = []() -> int { throw NSError(userCancelledError()); };
  EXPECT_EQ(operation.logThrownError([] { return 5; }), 5);
  EXPECT_EQ(operation.logThrownError(fail), std::nullopt);
  EXPECT_EQ(operation.logThrownError("Reading", fail), std::nullopt);
  EXPECT_EQ(operation.logErrorOrThrow([] { return 5; }), 5);
  EXPECT_EQ(operation.logErrorOrThrow(fail), std::nullopt);
  EXPECT_THROW((void)operation.logErrorOrThrowWithBlock(stop), NSError);
  EXPECT_THAT(
      its.writer->take(),
      ElementsAre("An error occurred: full",
                  AllOf(StartsWith("An error occurred: Reading: "), HasSubstr("full")), HasSubstr("full")));
  operation.setLogger(nullptr);
  EXPECT_EQ(operation.logErrorOrThrow(stop), std::nullopt);
}

TEST(QVOperationTest, describesItselfInFewWordsDeepDown) {
  const auto operation = operationOf([](auto&) {});
  EXPECT_EQ(operation->debugDictionary()["name"], Value("BodyOperation"));
  EXPECT_THAT(operation->description(),
              AllOf(HasSubstr("name = BodyOperation"), HasSubstr("self = <BodyOperation: ")));
  EXPECT_EQ(operation->descriptionWithLocale(nullptr, 3), operation->shortDescription());
}

}  // namespace
}  // namespace QVFoundation
