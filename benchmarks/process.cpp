// Programs that are run, and what they write: a trivial one, a line, and much.

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <benchmark/benchmark.h>

#include "QVFoundation/operations/QVProcessDataCollector.h"
#include "QVFoundation/operations/QVProcessOperation.h"
#include "QVFoundation/operations/QVProcessStreamCollector.h"
#include "benchmarks/ReadyMemory.h"

#ifdef QV_PEER_QT
#include <QProcess>
#endif

namespace {

using namespace QVFoundation;

constexpr const char* line = "a line of output";

/// A pipe and a child that writes to it, with nothing but the system's calls.
class BareChild {
public:
  BareChild(std::vector<const char*> arguments, bool withPipe, int capacity = 0) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (withPipe) {
      if (pipe2(ends_.data(), O_CLOEXEC) != 0) std::abort();
      if (capacity != 0) fcntl(ends_[0], F_SETPIPE_SZ, capacity);
      posix_spawn_file_actions_adddup2(&actions, ends_[1], STDOUT_FILENO);
    }
    arguments.push_back(nullptr);
    if (posix_spawn(&child_, arguments[0], &actions, nullptr, const_cast<char**>(arguments.data()),
                    environ) != 0) {
      std::abort();
    }
    posix_spawn_file_actions_destroy(&actions);
    if (withPipe) close(ends_[1]);
  }
  BareChild(const BareChild&) = delete;
  BareChild& operator=(const BareChild&) = delete;
  ~BareChild() {
    if (ends_[0] >= 0) close(ends_[0]);
    waitpid(child_, nullptr, 0);
  }

  /// Into the same buffer again and again.
  std::size_t readToEnd(std::vector<char>& buffer) const {
    std::size_t total = 0;
    for (;;) {
      const ssize_t count = read(ends_[0], buffer.data(), buffer.size());
      if (count <= 0) return total;
      total += static_cast<std::size_t>(count);
    }
  }

private:
  std::array<int, 2> ends_{-1, -1};
  pid_t child_ = 0;
};

// A program that does nothing

void runOurs(benchmark::State& state) {
  for (auto _ : state) {
    const auto job = std::make_shared<QVProcessOperation>("/bin/true", std::vector<std::string>{});
    job->start();
    if (job->operationError()) state.SkipWithError("the program failed");
  }
}
BENCHMARK(runOurs)->Name("process/run/ours")->UseRealTime();

void runBare(benchmark::State& state) {
  for (auto _ : state) const BareChild child({"/bin/true"}, false);
}
BENCHMARK(runBare)->Name("process/run/posix-spawn")->UseRealTime();

#ifdef QV_PEER_QT
void runQt(benchmark::State& state) {
  for (auto _ : state) {
    QProcess process;
    process.start("/bin/true", QStringList());
    if (!process.waitForFinished()) state.SkipWithError("the program failed");
  }
}
BENCHMARK(runQt)->Name("process/run/qt")->UseRealTime();
#endif

// A line of output

template <class Collector>
std::size_t collectLine() {
  const auto output = std::make_shared<Collector>();
  const auto job =
      std::make_shared<QVProcessOperation>("/bin/echo", std::vector<std::string>{line}, std::nullopt, output);
  job->start();
  return output->data().size();
}

template <class Collector>
void collectLineOurs(benchmark::State& state) {
  for (auto _ : state) {
    if (collectLine<Collector>() != std::string(line).size() + 1)
      state.SkipWithError("the line is not whole");
  }
}
BENCHMARK(collectLineOurs<QVProcessStreamCollector>)->Name("process/collect-line/ours")->UseRealTime();
BENCHMARK(collectLineOurs<QVProcessDataCollector>)->Name("process/collect-line-at-end/ours")->UseRealTime();

void collectLineBare(benchmark::State& state) {
  std::vector<char> buffer(4096);
  for (auto _ : state) {
    const BareChild child({"/bin/echo", line}, true);
    benchmark::DoNotOptimize(child.readToEnd(buffer));
  }
}
BENCHMARK(collectLineBare)->Name("process/collect-line/posix-spawn")->UseRealTime();
BENCHMARK(collectLineBare)->Name("process/collect-line-at-end/posix-spawn")->UseRealTime();

#ifdef QV_PEER_QT
void collectLineQt(benchmark::State& state) {
  for (auto _ : state) {
    QProcess process;
    process.start("/bin/echo", {line});
    process.waitForFinished();
    benchmark::DoNotOptimize(process.readAllStandardOutput());
  }
}
BENCHMARK(collectLineQt)->Name("process/collect-line/qt")->UseRealTime();
#endif

// Much output

void collectOurs(benchmark::State& state) {
  const auto size = static_cast<std::size_t>(state.range(0)) << 20;
  for (auto _ : state) {
    state.PauseTiming();
    benchmarks::makeMemoryReady(2 * size >> 20);
    state.ResumeTiming();
    const auto output = std::make_shared<QVProcessStreamCollector>();
    const auto job = std::make_shared<QVProcessOperation>(
        "/usr/bin/head", std::vector<std::string>{"-c", std::to_string(size), "/dev/zero"}, std::nullopt,
        output);
    job->start();
    if (output->data().size() != size) state.SkipWithError("the output is not whole");
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
}
BENCHMARK(collectOurs)->Name("process/collect-MiB/ours")->Arg(10)->Arg(1024)->UseRealTime();

/// Reads, and keeps nothing.
void collectBare(benchmark::State& state) {
  const auto size = static_cast<std::size_t>(state.range(0)) << 20;
  const std::string text = std::to_string(size);
  std::vector<char> buffer(1 << 20);
  for (auto _ : state) {
    const BareChild child({"/usr/bin/head", "-c", text.c_str(), "/dev/zero"}, true, 1 << 20);
    if (child.readToEnd(buffer) != size) state.SkipWithError("the output is not whole");
  }
}
BENCHMARK(collectBare)->Name("process/collect-MiB/read")->Arg(10)->Arg(1024)->UseRealTime();

/// An interpreter that is told how much to collect and answers with the seconds that it took, so that its own
/// start does not count.
class Python {
public:
  Python() {
    std::array<int, 2> question{}, answer{};
    if (pipe2(question.data(), O_CLOEXEC) != 0 || pipe2(answer.data(), O_CLOEXEC) != 0) std::abort();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, question[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, answer[1], STDOUT_FILENO);
    constexpr const char* script = R"(
import subprocess, sys, time
for size in sys.stdin:
    start = time.perf_counter()
    output = subprocess.run(["/usr/bin/head", "-c", size.strip(), "/dev/zero"], stdout=subprocess.PIPE).stdout
    seconds = time.perf_counter() - start
    print(seconds if len(output) == int(size) else -1, flush=True)
    del output
)";
    const std::array<const char*, 4> arguments{"python3", "-c", script, nullptr};
    pid_t child = 0;
    isThere_ = posix_spawnp(&child, "python3", &actions, nullptr, const_cast<char**>(arguments.data()),
                            environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    close(question[0]);
    close(answer[1]);
    question_ = question[1];
    answer_ = fdopen(answer[0], "r");
  }

  [[nodiscard]] std::optional<double> secondsToCollect(std::size_t size) const {
    const std::string text = std::to_string(size) + '\n';
    double seconds = -1;
    if (!isThere_ || write(question_, text.data(), text.size()) < 0) return {};
    if (fscanf(answer_, "%lf", &seconds) != 1 || seconds < 0) return {};
    return seconds;
  }

private:
  bool isThere_ = false;
  int question_ = -1;
  FILE* answer_ = nullptr;
};

void collectPython(benchmark::State& state) {
  static const Python& python = *new Python;
  const auto size = static_cast<std::size_t>(state.range(0)) << 20;
  for (auto _ : state) {
    benchmarks::makeMemoryReady(2 * size >> 20);
    const auto seconds = python.secondsToCollect(size);
    if (!seconds) {
      state.SkipWithError("there is no python3");
      break;
    }
    state.SetIterationTime(*seconds);
  }
}
BENCHMARK(collectPython)->Name("process/collect-MiB/python")->Arg(10)->Arg(1024)->UseManualTime();

}  // namespace
