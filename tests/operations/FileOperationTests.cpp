#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <functional>
#include <latch>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "QVFoundation/errors/QVErrorInspection.h"
#include "QVFoundation/operations/QVCalculateFolderSizeOperation.h"
#include "QVFoundation/operations/XRCopyFileOperation.h"
#include "QVFoundation/platform/runtime/NSErrorKeys.h"
#include "tests/platform/files/SystemHook.h"
#include "tests/platform/files/TemporaryFolder.h"

namespace QVFoundation {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::contentOf;
using ::testing::ElementsAre;
using testing::makeFile;
using testing::SystemHook;
using testing::TemporaryFolder;
using Clone = XRCopyFileOperation::CloneIfPossible;

constexpr std::size_t largeSize = 40UL << 20;

/// Does something at each step of a copy.
class Watcher : public XRCopyFileDelegate {
public:
  using Task = std::function<void(XRCopyFileOperation&)>;
  explicit Watcher(Task task = nullptr) : task_(std::move(task)) {}

  void copyFileOperationDidUpdateProgress(XRCopyFileOperation& operation) override {
    steps.push_back(operation.progress()->completedUnitCount());
    paths.push_back(operation.currentFilePath().value_or("none"));
    threads.push_back(std::this_thread::get_id());
    if (task_) task_(operation);
  }

  std::vector<std::int64_t> steps;  // bytes, with all that came before
  std::vector<std::string> paths;
  std::vector<std::thread::id> threads;

private:
  const Task task_;
};

class FileOperationTest : public ::testing::Test {
protected:
  void SetUp() override {
    fs::create_directories(source / "sub/empty");
    makeFile(source / "file", "12345");
    makeFile(source / "sub/leaf", "123");
    makeFile(source / "nothing", "");
    fs::create_hard_link(source / "file", source / "sub/again");
    fs::create_directory_symlink("sub", source / "link");
    fs::create_symlink("nowhere", source / "dangling");
  }

  static std::int64_t sizeOf(const NSURL& url) {
    const auto operation = std::make_shared<QVCalculateFolderSizeOperation>(url);
    operation->start();
    return operation->result().value();
  }
  [[nodiscard]] std::shared_ptr<XRCopyFileOperation> copyTo(const fs::path& target,
                                                            const std::shared_ptr<Watcher>& watcher,
                                                            Clone clone = Clone::no) const {
    auto operation = std::make_shared<XRCopyFileOperation>(source, target, clone);
    operation->setCopyDelegate(watcher);
    return operation;
  }

  const TemporaryFolder folder;
  const fs::path source = folder / "source", destination = folder / "destination";
  static constexpr std::int64_t sourceSize = 5 + 3 + 5 + 3 + 7;  // with the texts of the links
};

TEST_F(FileOperationTest, measuresAllFilesOfAFolderAndNothingElse) {
  EXPECT_EQ(sizeOf(source), sourceSize);
  for (const auto& nothing : {source / "sub/empty", source / "file", source / "link", source / "missing"}) {
    EXPECT_EQ(sizeOf(nothing), 0) << nothing;
  }
  EXPECT_EQ(sizeOf(NSURL::URLWithString("http://localhost/source").value()), 0);
}

TEST_F(FileOperationTest, failsToMeasureAsALookAtTheItemDoes) {
  const SystemHook statAt(&detail::SystemCalls::statAt,
                          [](auto original, int at, const char* name, struct stat* status, int flags) {
                            if (std::strcmp(name, "leaf") != 0) return original(at, name, status, flags);
                            errno = EACCES;
                            return -1;
                          });
  const auto measuring = std::make_shared<QVCalculateFolderSizeOperation>(source);
  measuring->start();
  const auto error = measuring->operationError().value();
  EXPECT_EQ(error.domain(), NSCocoaErrorDomain);
  EXPECT_EQ(error.code(), NSFileReadNoPermissionError);
  EXPECT_EQ(error.userInfo()[NSFilePathErrorKey], Value((source / "sub/leaf").native()));
  EXPECT_EQ(underlyingError(error), NSError(NSPOSIXErrorDomain, EACCES));

  const auto copying = copyTo(destination, nullptr);
  copying->start();
  EXPECT_EQ(copying->operationError(), error);
  EXPECT_FALSE(fs::exists(destination));
}

TEST_F(FileOperationTest, isCancelledWithinTheNextItemOfMeasuring) {
  int looks = 0;
  std::shared_ptr<XRCopyFileOperation> copying = copyTo(destination, nullptr);
  const SystemHook statAt(&detail::SystemCalls::statAt, [&](auto original, auto... arguments) {
    ++looks;
    copying->cancelWithLocalizedDescription("enough");
    return original(arguments...);
  });
  copying->start();
  EXPECT_EQ(looks, 1);
  EXPECT_TRUE(isUserCancelledError(copying->operationError().value()));
  EXPECT_FALSE(fs::exists(destination));
}

TEST_F(FileOperationTest, countsWhatItCopiesUpToTheTotal) {
  for (const Clone clone : {Clone::no, Clone::yes}) {
    const auto watcher = std::make_shared<Watcher>([](XRCopyFileOperation& operation) {
      EXPECT_EQ(operation.progress()->totalUnitCount(), sourceSize);
    });
    const auto operation = copyTo(destination, watcher, clone);
    operation->start();
    EXPECT_TRUE(operation->result()) << operation->operationError()->localizedDescription();
    EXPECT_EQ(sizeOf(destination), sourceSize);
    EXPECT_EQ(contentOf(destination / "sub/leaf"), "123");
    EXPECT_TRUE(fs::is_symlink(destination / "dangling"));

    EXPECT_EQ(watcher->steps.size(), 5U);
    EXPECT_TRUE(std::ranges::is_sorted(watcher->steps));
    EXPECT_EQ(watcher->steps.back(), sourceSize);
    EXPECT_THAT(watcher->paths, ::testing::Contains((source / "sub/leaf").native()));
    EXPECT_EQ(watcher->threads.front(), std::this_thread::get_id());
    EXPECT_EQ(operation->currentFilePath(), std::nullopt);
    EXPECT_THAT(operation->progress()->localizedAdditionalDescription(),
                ::testing::StartsWith(source.native() + '/'));
    EXPECT_GT(operation->timingInfo()->elapsedTime("QVCalculateFolderSizeOperation").count(), 0);

    const CopyReport& report = operation->report();
    EXPECT_EQ(report.cloned.files + report.offloaded.files + report.copied.files + report.linked.files, 4U);
    EXPECT_EQ(report.others, 2U);
    EXPECT_FALSE(operation->didPerformClone());
    fs::remove_all(destination);
  }
}

TEST_F(FileOperationTest, movesWithinALargeFileAndStopsThere) {
  makeFile(folder / "large", std::string(largeSize, 'x'));
  std::size_t stepsUntilCancelled = 0;  // none
  const auto copy = [&] {
    const auto watcher = std::make_shared<Watcher>([&](XRCopyFileOperation& operation) {
      EXPECT_EQ(operation.currentFileLastKnownBytesCopied(), operation.progress()->completedUnitCount());
      const auto& counted = *operation.progress();
      EXPECT_EQ(counted.totalUnitCount(), static_cast<std::int64_t>(largeSize));  // that of the file itself
      if (stepsUntilCancelled == 1) operation.cancelWithLocalizedDescription("enough");
      if (stepsUntilCancelled > 0) --stepsUntilCancelled;
    });
    const auto operation = std::make_shared<XRCopyFileOperation>(folder / "large", destination, Clone::no);
    operation->setCopyDelegate(watcher);
    operation->start();
    return std::pair(operation, watcher);
  };

  const auto [whole, watcher] = copy();
  EXPECT_TRUE(whole->result());
  EXPECT_GE(watcher->steps.size(), 5U);  // of 8 MiB at the most
  EXPECT_EQ(watcher->steps.back(), static_cast<std::int64_t>(largeSize));
  EXPECT_EQ(fs::file_size(destination), largeSize);
  fs::remove(destination);

  stepsUntilCancelled = 2;
  const auto [stopped, witness] = copy();
  EXPECT_EQ(witness->steps.size(), 2U);
  EXPECT_EQ(stopped->operationError()->code(), QVUserCancelledError);
  EXPECT_EQ(stopped->operationError()->localizedDescription(), "enough");
  EXPECT_EQ(stopped->operationError(), stopped->fileCopyError());
  EXPECT_FALSE(fs::exists(destination));
}

TEST_F(FileOperationTest, saysWhatCouldNotBeCopiedAndWhy) {
  makeFile(destination, "mine");
  const auto remote = NSURL::URLWithString("http://localhost/source").value();
  const struct {
    NSURL source, destination;
    std::string_view domain;
    std::int64_t code;
    std::string description;
  } rows[] = {
      {source, destination, NSPOSIXErrorDomain, EEXIST,
       "Could not copy file " + source.native() + " (The operation couldn’t be completed. File exists)"},
      {folder / "missing", folder / "new", NSPOSIXErrorDomain, ENOENT,
       "Could not copy file " + (folder / "missing").native() +
           " (The operation couldn’t be completed. No such file or directory)"},
      {remote, folder / "new", NSCocoaErrorDomain, NSFileReadUnsupportedSchemeError,
       "The URL \"http://localhost/source\" is not that of a file."},
      {source, remote, NSCocoaErrorDomain, NSFileReadUnsupportedSchemeError,
       "The URL \"http://localhost/source\" is not that of a file."},
  };
  for (const auto& row : rows) {
    const auto operation = std::make_shared<XRCopyFileOperation>(row.source, row.destination, Clone::no);
    operation->start();
    const auto error = operation->operationError().value();
    EXPECT_EQ(error.domain(), row.domain);
    EXPECT_EQ(error.code(), row.code);
    EXPECT_EQ(error.localizedDescription(), row.description);
    EXPECT_FALSE(fs::exists(folder / "new"));
  }
  EXPECT_EQ(contentOf(destination), "mine");
}

TEST_F(FileOperationTest, waitsWhilePausedAndGoesOnWhereItWas) {
  std::latch hasPaused(1);
  std::atomic<int> steps = 0;
  const auto watcher = std::make_shared<Watcher>([&](XRCopyFileOperation& operation) {
    if (++steps > 1) return;
    operation.pause();
    hasPaused.count_down();
  });
  const auto operation = copyTo(destination, watcher);
  operation->startInBackground();
  hasPaused.wait();
  std::this_thread::sleep_for(20ms);  // time for a step that must not come
  EXPECT_EQ(steps, 1);
  operation->resume();
  operation->waitUntilFinished();
  EXPECT_TRUE(operation->result());
  EXPECT_EQ(watcher->steps.back(), sourceSize);
}

TEST_F(FileOperationTest, doesNotKeepItsDelegateAndEndsInWhatItThrows) {
  const auto alone = copyTo(destination, std::make_shared<Watcher>());
  EXPECT_EQ(alone->copyDelegate(), nullptr);
  alone->start();
  EXPECT_TRUE(alone->result());

  const auto thrower =
      std::make_shared<Watcher>([](XRCopyFileOperation&) { throw std::runtime_error("no"); });
  const auto ended = copyTo(folder / "other", thrower);
  ended->start();
  EXPECT_EQ(ended->operationError()->localizedDescription(), "no");
  EXPECT_EQ(thrower->steps.size(), 1U);
}

}  // namespace
}  // namespace QVFoundation
