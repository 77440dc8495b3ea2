// What a log line costs: written through to a file, alone and from four threads, and when it is dropped.

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include "QVFoundation/logging/QVFileHandleLogWriter.h"
#include "QVFoundation/logging/QVLogLevelFilter.h"
#include "QVFoundation/logging/QVLogStandardFormatter.h"
#include "QVFoundation/logging/QVLogger.h"

#ifdef QV_PEER_SPDLOG
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#endif
#ifdef QV_PEER_QT
#include <QLoggingCategory>
#endif

namespace {

thread_local std::uint64_t allocationsOfThread = 0;

}  // namespace

[[gnu::noinline]] void* operator new(std::size_t size) {
  ++allocationsOfThread;
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

using namespace QVFoundation;

// 23 characters of time, a blank and 56 of message: lines of 80, the same from every side.
constexpr std::size_t lineLength = 80;
constexpr int track = 17;
constexpr int tracks = 48;
constexpr std::string_view album = "The Well-Tempered Clavier 1";
constexpr std::string_view bareLine =
    "2026-03-05 14:07:09.123 Imported track 17 of 48 from The Well-Tempered Clavier 1\n";

/// A new file for each run, gone afterwards; its lines are checked.
class LogFile {
public:
  LogFile() {
    const char* folder = std::getenv("QV_BENCH_DIR");  // where to measure another file system
    path_ = (folder != nullptr ? std::filesystem::path(folder) : std::filesystem::temp_directory_path()) /
            ("qv-bench-" + std::to_string(getpid()) + "-" + std::to_string(++count_) + ".log");
  }
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;
  ~LogFile() { std::filesystem::remove(path_); }

  [[nodiscard]] const std::string& path() const { return path_.native(); }

  void checkLine() const {
    std::ifstream file(path_);
    std::string line;
    std::getline(file, line);
    if (line.size() != lineLength) throw std::logic_error("unlike lines are compared: " + line);
  }

private:
  static inline std::atomic<int> count_ = 0;
  std::filesystem::path path_;
};

/// The one file and logger that the threads of a run share; made by the first of them, before all start.
template <class Side>
std::unique_ptr<Side> shared;

template <class Side>
void writeThrough(benchmark::State& state) {
  if (state.thread_index() == 0) shared<Side> = std::make_unique<Side>();
  std::uint64_t allocations = 0;
  for (auto _ : state) {
    const std::uint64_t before = allocationsOfThread;
    shared<Side>->log();
    allocations += allocationsOfThread - before;
  }
  state.counters["allocations"] =
      benchmark::Counter(static_cast<double>(allocations), benchmark::Counter::kAvgIterations);
  if (state.thread_index() == 0) {
    shared<Side>->file.checkLine();
    shared<Side>.reset();
  }
}

struct Ours {
  void log() { logger.logInfo("Imported track %d of %d from %@", track, tracks, album); }

  LogFile file;
  QVLogger logger{QVFileHandleLogWriter::fileHandleForLoggingAtPath(file.path(), 0644),
                  std::make_shared<QVLogStandardFormatter>(), std::make_shared<QVLogLevelFilter>()};
};

/// A finished line and a system call: nobody can write through for less.
struct BareWrite {
  BareWrite() : descriptor(open(file.path().c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644)) {}
  BareWrite(const BareWrite&) = delete;
  BareWrite& operator=(const BareWrite&) = delete;
  ~BareWrite() { close(descriptor); }
  void log() const {
    if (write(descriptor, bareLine.data(), bareLine.size()) < 0) throw std::runtime_error("write failed");
  }

  LogFile file;
  int descriptor;
};

void droppedDebugOurs(benchmark::State& state) {
  QVLogger logger(nullptr, std::make_shared<QVLogStandardFormatter>(), std::make_shared<QVLogLevelFilter>());
  for (auto _ : state) logger.logDebug("%d of %@", track, album);
}

void droppedBlockOurs(benchmark::State& state) {
  QVLogger logger(nullptr, std::make_shared<QVLogStandardFormatter>(), std::make_shared<QVLogLevelFilter>());
  for (auto _ : state) {
    logger.logDebugBlock([] { return std::string(album); });
  }
}

BENCHMARK(writeThrough<Ours>)->Name("logging/write-through/ours")->Threads(1)->Threads(4)->UseRealTime();
BENCHMARK(writeThrough<BareWrite>)
    ->Name("logging/write-through/write")
    ->Threads(1)
    ->Threads(4)
    ->UseRealTime();
BENCHMARK(droppedDebugOurs)->Name("logging/dropped-debug/ours");
BENCHMARK(droppedBlockOurs)->Name("logging/dropped-block/ours");

#ifdef QV_PEER_SPDLOG
struct Spdlog {
  Spdlog() {
    logger.set_pattern("%Y-%m-%d %H:%M:%S.%e %v");
    logger.flush_on(
        spdlog::level::trace);  // the same promise: the line is with the kernel when the call returns
  }
  void log() { logger.info("Imported track {} of {} from {}", track, tracks, album); }

  LogFile file;
  spdlog::logger logger{"bench", std::make_shared<spdlog::sinks::basic_file_sink_mt>(file.path())};
};

void droppedDebugSpdlog(benchmark::State& state) {
  Spdlog side;
  for (auto _ : state) side.logger.debug("{} of {}", track, album);
}

BENCHMARK(writeThrough<Spdlog>)->Name("logging/write-through/spdlog")->Threads(1)->Threads(4)->UseRealTime();
BENCHMARK(droppedDebugSpdlog)->Name("logging/dropped-debug/spdlog");
#endif

#ifdef QV_PEER_QT
void droppedDebugQt(benchmark::State& state) {
  QLoggingCategory category("bench", QtInfoMsg);
  for (auto _ : state) qCDebug(category, "%d of %s", track, album.data());
}

BENCHMARK(droppedDebugQt)->Name("logging/dropped-debug/qt");
#endif

}  // namespace
