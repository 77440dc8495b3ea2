// Trees of files that are measured and walked through, names for new files, and the first line of a new log.

#include <cstdint>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <fts.h>
#include <ftw.h>
#include <memory>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

#include <benchmark/benchmark.h>

#include "QVFoundation/files/QVDirectoryIteration.h"
#include "QVFoundation/files/QVFileMeasures.h"
#include "QVFoundation/files/QVFileNaming.h"
#include "QVFoundation/logging/QVLogManager.h"
#include "QVFoundation/operations/QVCalculateFolderSizeOperation.h"
#include "benchmarks/RunProgram.h"

namespace {

using namespace QVFoundation;
using benchmarks::runProgram;
namespace fs = std::filesystem;

/// Folders with the same number of small files in each; gone when the program ends.
class Tree {
public:
  Tree(int outer, int inner, int files) {
    std::string name = (fs::temp_directory_path() / "qv-bench-XXXXXX").native();
    if (mkdtemp(name.data()) == nullptr) std::abort();
    path_ = name;
    for (int i = 0; i < outer * inner; ++i) {
      const fs::path folder = path_ / std::to_string(i / inner) / std::to_string(i % inner);
      fs::create_directories(folder);
      for (int file = 0; file < files; ++file) {
        std::ofstream(folder / ("file-" + std::to_string(file) + ".txt")) << std::string(1 + i % 5000, 'x');
      }
    }
  }
  Tree(const Tree&) = delete;
  Tree& operator=(const Tree&) = delete;
  ~Tree() { fs::remove_all(path_); }
  [[nodiscard]] const fs::path& path() const { return path_; }

private:
  fs::path path_;
};

/// 100,000 files in 2,000 folders.
const fs::path& largeTree() {
  static const Tree tree(40, 50, 50);
  return tree.path();
}

// The sizes of all files, as an operation that can be cancelled at each item.

void totalSizeOurs(benchmark::State& state) {
  const fs::path& tree = largeTree();
  for (auto _ : state) {
    const auto operation = std::make_shared<QVCalculateFolderSizeOperation>(tree);
    operation->start();
    benchmark::DoNotOptimize(operation->result());
  }
}

std::uint64_t sumOfFtw = 0;
void totalSizeFtw(benchmark::State& state) {
  const fs::path& tree = largeTree();
  for (auto _ : state) {
    sumOfFtw = 0;
    nftw(
        tree.c_str(),
        [](const char*, const struct stat* status, int type, FTW*) {
          if (type == FTW_F) sumOfFtw += static_cast<std::uint64_t>(status->st_size);
          return 0;
        },
        32, FTW_PHYS);
    benchmark::DoNotOptimize(sumOfFtw);
  }
}

void totalSizeFilesystem(benchmark::State& state) {
  const fs::path& tree = largeTree();
  for (auto _ : state) {
    std::uint64_t total = 0;
    for (const auto& entry : fs::recursive_directory_iterator(tree)) {
      if (entry.is_regular_file()) total += entry.file_size();
    }
    benchmark::DoNotOptimize(total);
  }
}

void totalSizeDu(benchmark::State& state) {
  const fs::path& tree = largeTree();
  for (auto _ : state) runProgram(state, {"du", "-sb", tree.c_str()});
}

// A call for each item.

void walkOurs(benchmark::State& state) {
  const fs::path& tree = largeTree();
  for (auto _ : state) {
    std::size_t bytes = 0;
    qv_iterateDirectory(tree, QVDirectoryRecursionPostOrder,
                        [&](std::string_view path) { bytes += path.size(); });
    benchmark::DoNotOptimize(bytes);
  }
}

void walkFts(benchmark::State& state) {
  const fs::path& tree = largeTree();
  for (auto _ : state) {
    std::size_t bytes = 0;
    char* const roots[] = {const_cast<char*>(tree.c_str()), nullptr};
    FTS* const walk = fts_open(roots, FTS_PHYSICAL | FTS_NOSTAT | FTS_NOCHDIR, nullptr);
    while (const FTSENT* const entry = fts_read(walk)) {
      if (entry->fts_info != FTS_D) bytes += entry->fts_pathlen;
    }
    fts_close(walk);
    benchmark::DoNotOptimize(bytes);
  }
}

void walkFilesystem(benchmark::State& state) {
  const fs::path& tree = largeTree();
  for (auto _ : state) {
    std::size_t bytes = 0;
    for (const auto& entry : fs::recursive_directory_iterator(tree)) bytes += entry.path().native().size();
    benchmark::DoNotOptimize(bytes);
  }
}

void walkFind(benchmark::State& state) {
  const fs::path& tree = largeTree();
  for (auto _ : state) runProgram(state, {"find", tree.c_str(), "-depth"});
}

// What the system takes for the names alone.
std::size_t readNames(int parent, const char* name) {
  const int folder = openat(parent, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  std::vector<char> buffer(64UL * 1024);
  std::size_t bytes = 0;
  for (;;) {
    const ssize_t size = getdents64(folder, buffer.data(), buffer.size());
    if (size <= 0) break;
    for (ssize_t at = 0; at < size;) {
      const auto* const entry = reinterpret_cast<const dirent64*>(buffer.data() + at);
      at += entry->d_reclen;
      bytes += std::string_view(entry->d_name).size();
      if (entry->d_type == DT_DIR && entry->d_name[0] != '.') bytes += readNames(folder, entry->d_name);
    }
  }
  close(folder);
  return bytes;
}

void walkBare(benchmark::State& state) {
  const fs::path& tree = largeTree();
  for (auto _ : state) benchmark::DoNotOptimize(readNames(AT_FDCWD, tree.c_str()));
}

// The room that files take.

void physicalSizeOurs(benchmark::State& state) {
  const fs::path& tree = largeTree();
  for (auto _ : state) benchmark::DoNotOptimize(qv_physicalSizeOfFolderAtPath(tree));
}

void physicalSizeDu(benchmark::State& state) {
  const fs::path& tree = largeTree();
  for (auto _ : state) runProgram(state, {"du", "-s", tree.c_str()});
}

// A name for a file in a folder that has as many with numbers already.

const fs::path& folderOfTakers() {
  static const Tree tree(1, 1, 0);
  static const bool isFilled = [] {
    for (int i = 1; i <= 1000; ++i) {
      std::ofstream(tree.path() / (i == 1 ? "Report.pdf" : "Report " + std::to_string(i) + ".pdf"));
    }
    return true;
  }();
  benchmark::DoNotOptimize(isFilled);
  return tree.path();
}

void uniqueNameOurs(benchmark::State& state) {
  const fs::path& folder = folderOfTakers();
  for (auto _ : state) benchmark::DoNotOptimize(qv_uniqueFilePathForName("Report.pdf", folder));
}

// A new log file with its first line.

/// A folder for logs; emptied now and then, so that it stays as real ones are.
class LogFolder {
public:
  const fs::path& next(benchmark::State& state) {
    if (++count_ % 200 == 0) {
      state.PauseTiming();
      fs::remove_all(tree_.path());
      fs::create_directory(tree_.path());
      state.ResumeTiming();
    }
    return tree_.path();
  }
  [[nodiscard]] std::size_t count() const { return count_; }

private:
  const Tree tree_{1, 1, 0};
  std::size_t count_ = 0;
};

void newLoggerOurs(benchmark::State& state) {
  LogFolder folder;
  setenv("HOME", folder.next(state).c_str(), 1);  // the general log belongs in there, too
  const auto logs = std::make_shared<QVLogManager>();
  for (auto _ : state) {
    logs->setLogFolderURL(folder.next(state));
    logs->newLoggerWithName("Job" + std::to_string(folder.count()))->logInfoString("begun");
  }
}

void newFileBare(benchmark::State& state) {
  LogFolder folder;
  for (auto _ : state) {
    const std::string path =
        folder.next(state) / ("2024-03-05-140709-Job" + std::to_string(folder.count()) + ".log");
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    constexpr std::string_view line = "2024-03-05 14:07:09.000 begun\n";
    if (write(file, line.data(), line.size()) < 0) state.SkipWithError("not written");
    close(file);
  }
}

void milliseconds(benchmark::internal::Benchmark* row) { row->UseRealTime()->Unit(benchmark::kMillisecond); }
BENCHMARK(totalSizeOurs)->Name("files/total-size/ours")->Apply(milliseconds);
BENCHMARK(totalSizeFtw)->Name("files/total-size/nftw")->Apply(milliseconds);
BENCHMARK(totalSizeDu)->Name("files/total-size/du")->Apply(milliseconds);
BENCHMARK(totalSizeFilesystem)->Name("files/total-size/filesystem")->Apply(milliseconds);
BENCHMARK(walkOurs)->Name("files/walk/ours")->Apply(milliseconds);
BENCHMARK(walkFts)->Name("files/walk/fts")->Apply(milliseconds);
BENCHMARK(walkFind)->Name("files/walk/find")->Apply(milliseconds);
BENCHMARK(walkFilesystem)->Name("files/walk/filesystem")->Apply(milliseconds);
BENCHMARK(walkBare)->Name("files/walk/getdents")->Apply(milliseconds);
BENCHMARK(physicalSizeOurs)->Name("files/physical-size/ours")->Apply(milliseconds);
BENCHMARK(physicalSizeDu)->Name("files/physical-size/du")->Apply(milliseconds);
BENCHMARK(uniqueNameOurs)->Name("files/unique-name/ours")->UseRealTime();
BENCHMARK(newLoggerOurs)->Name("files/new-logger/ours")->UseRealTime();
BENCHMARK(newFileBare)->Name("files/new-logger/open-and-write")->UseRealTime();

}  // namespace
