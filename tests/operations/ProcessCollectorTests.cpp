#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "QVFoundation/operations/GrowingBytes_p.h"
#include "QVFoundation/operations/LineSplitter_p.h"
#include "QVFoundation/operations/QVProcessDataCollector.h"
#include "QVFoundation/operations/QVProcessStreamCollector.h"
#include "QVFoundation/platform/runtime/NSException.h"
#include "tests/platform/files/FailingSystem.h"
#include "tests/platform/files/SystemHook.h"
#include "tests/platform/processes/Children.h"

namespace QVFoundation {
namespace {

using testing::textOf;

std::shared_ptr<NSFileHandle> writingEnd(const QVProcessIOHandle& collector) {
  return collector.handle().pipe()->fileHandleForWriting();
}

/// Bytes that tell where they belong.
std::string sequence(std::size_t size) {
  std::string text(size, '\0');
  for (std::size_t i = 0; i < size; ++i) text[i] = static_cast<char>('a' + (i * 7 + i / 251) % 26);
  return text;
}

// The first chunk is read on another thread, at any moment; the rest must come behind it.
TEST(QVProcessDataCollector, firstChunkAndRestAreWholeAndInOrder) {
  for (const std::size_t size : {0UL, 1UL, 70'000UL, 3'000'000UL}) {
    for (int round = 0; round < 20; ++round) {
      QVProcessDataCollector collector;
      const std::string text = sequence(size);
      std::thread writer([&, writing = writingEnd(collector)] {
        if (size > 0) writing->writeText(std::string_view(text).substr(0, size / 2));
        writing->writeText(std::string_view(text).substr(size / 2));
        writing->closeFile();
      });
      if (round % 2 == 0) std::this_thread::yield();
      collector.readToEndSync();
      writer.join();
      ASSERT_TRUE(textOf(collector.data()) == text) << size;
    }
  }
}

TEST(QVProcessDataCollector, readsOneChunkAloneAndTellsHowMuchFitsBesides) {
  QVProcessDataCollector collector;
  const auto writing = writingEnd(collector);
  writing->writeText("first");
  const int reading = collector.handle().pipe()->fileHandleForReading()->fileDescriptor();
  for (int left = 1; left > 0;) ASSERT_EQ(detail::systemCalls().available(reading, &left), 0);
  writing->writeText(std::string(collector.capacity(), 'x'));  // or this would wait for ever
  int left = 0;
  ASSERT_EQ(detail::systemCalls().available(reading, &left), 0);
  EXPECT_EQ(static_cast<std::size_t>(left), collector.capacity());
  writing->closeFile();
  collector.readToEndSync();
  EXPECT_EQ(collector.data().size(), collector.capacity() + 5);
}

TEST(QVProcessDataCollector, mayGoAtAnyMoment) {
  for (int round = 0; round < 300; ++round) {
    auto collector = std::make_unique<QVProcessDataCollector>();
    writingEnd(*collector)->writeText("something");
    collector.reset();
  }
}

TEST(QVProcessCollectors, readErrorsCostTheRestAlone) {
  QVProcessDataCollector data;
  QVProcessStreamCollector stream;
  const auto read = [](QVProcessIOHandle& collector) {
    writingEnd(collector)->writeText("lost");
    int reads = 0;
    const testing::SystemHook hook(&detail::SystemCalls::read,
                                   [&](auto, auto...) { return errno = ++reads == 1 ? EINTR : EIO, -1; });
    collector.readAvailable();
    collector.readToEndSync();
  };
  data.handle().pipe()->fileHandleForReading()->stopWaitingForData();
  read(data);
  read(stream);
  EXPECT_TRUE(data.data().empty() && stream.data().empty());
}

// Told after it has looked, and before there is a descriptor that could wake it.
TEST(QVProcessCollectors, areStoppedRightBeforeTheyWait) {
  QVProcessStreamCollector collector;
  const auto writing = writingEnd(collector);
  const testing::SystemHook hook(&detail::SystemCalls::read, [&](auto read, auto... arguments) {
    const ssize_t count = read(arguments...);
    const int code = errno;
    if (count < 0) collector.stopReading();
    errno = code;
    return count;
  });
  collector.readToEndSync();
  EXPECT_TRUE(collector.data().empty());
}

// Whoever holds the other end keeps it open and writes on; what was there is read, and no more.
TEST(QVProcessCollectors, stoppedReadingReturnsWithWhatIsThere) {
  for (const bool before : {true, false}) {
    QVProcessDataCollector data;
    QVProcessStreamCollector stream;
    const auto read = [&](QVProcessIOHandle& collector) {
      const auto writing = writingEnd(collector);
      writing->writeText("something");
      if (before) collector.stopReading();
      std::thread stopping([&] { collector.stopReading(); });
      collector.readToEndSync();
      stopping.join();
      writing->writeText("late");
      collector.readToEndSync();
    };
    read(data);
    read(stream);
    EXPECT_EQ(textOf(data.data()), "something");
    EXPECT_EQ(stream.text(), "something");
  }
}

TEST(QVProcessStreamCollector, keepsAllOrTheBeginningAndCountsTheRest) {
  const std::string text = sequence(300'000);
  for (const std::size_t bound : {0UL, 1UL, 65'536UL, 299'999UL, 300'000UL, 300'001UL}) {
    QVProcessStreamCollector collector(bound);
    std::thread writer([&, writing = writingEnd(collector)] {
      writing->writeText(text);
      writing->closeFile();
    });
    while (collector.descriptor() >= 0) collector.readAvailable();
    collector.readToEndSync();
    writer.join();
    EXPECT_TRUE(collector.text() == std::string_view(text).substr(0, bound)) << bound;
    EXPECT_EQ(collector.droppedByteCount(), text.size() - collector.data().size());
  }
}

TEST(QVProcessStreamCollector, takesALargerPipeOnceMuchIsWritten) {
  QVProcessStreamCollector collector;
  const auto pipe = collector.handle().pipe();
  const auto read = [&](std::size_t size) {
    writingEnd(collector)->writeText(sequence(size));
    collector.readAvailable();
    return pipe->capacity();
  };
  const std::size_t standard = NSPipe().capacity();
  EXPECT_EQ(read(100), standard);
  EXPECT_EQ(read(standard), NSPipe(NSPipe::Capacity::largest).capacity());
  EXPECT_EQ(collector.text(), sequence(100) + sequence(standard));
}

TEST(GrowingBytes, keepsWhatIsThereWhereverItMoves) {
  detail::GrowingBytes first, second;  // in each other's way
  const std::string piece = sequence(700'001);
  for (int i = 0; i < 100; ++i) {
    for (detail::GrowingBytes* const bytes : {&first, &second}) {
      std::memcpy(bytes->room(piece.size()).data(), piece.data(), piece.size());
      bytes->append(piece.size());
    }
  }
  for (const detail::GrowingBytes* const bytes : {&first, &second}) {
    ASSERT_EQ(bytes->size(), 100 * piece.size());
    for (std::size_t at = 0; at < bytes->size(); at += piece.size()) {
      ASSERT_EQ(std::memcmp(bytes->bytes().data() + at, piece.data(), piece.size()), 0) << at;
    }
  }
}

TEST(LineSplitter, findsLinesWhereverThePiecesAreCut) {
  struct Row {
    std::string_view text;
    std::vector<std::string> lines;
    std::uint64_t dropped = 0;  // of lines longer than 4
  };
  const Row rows[] = {
      {"", {}},
      {"\n", {""}},
      {"one", {"one"}},
      {"one\n", {"one"}},
      {"one\n\ntwo", {"one", "", "two"}},
      {"a\r\nb", {"a\r", "b"}},
      {"four\nfive5\nsixsix", {"four", "five", "sixs"}, 3},
  };
  for (const Row& row : rows) {
    for (std::size_t cut = 1; cut <= row.text.size() + 1; ++cut) {
      std::vector<std::string> lines;
      detail::LineSplitter splitter([&](std::string_view line) { lines.emplace_back(line); }, 4);
      for (std::size_t at = 0; at < row.text.size(); at += cut) splitter.take(row.text.substr(at, cut));
      splitter.end();
      splitter.end();
      EXPECT_EQ(lines, row.lines) << row.text << " cut every " << cut;
      EXPECT_EQ(splitter.droppedByteCount(), row.dropped);
    }
  }
  EXPECT_THROW(QVProcessStreamCollector(std::function<void(std::string_view)>()), NSException);
}

}  // namespace
}  // namespace QVFoundation
