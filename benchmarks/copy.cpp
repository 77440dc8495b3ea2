// Trees and files that are copied and cloned, on volumes of several kinds, each in a file in memory.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <linux/fs.h>
#include <map>
#include <memory>
#include <string>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#ifdef QV_PEER_GIO
#include <gio/gio.h>
#endif

#include <benchmark/benchmark.h>

#include "QVFoundation/operations/XRCopyFileOperation.h"
#include "benchmarks/ReadyMemory.h"
#include "benchmarks/RunProgram.h"
#include "tests/platform/files/Volume.h"

namespace {

using namespace QVFoundation;
using benchmarks::runProgram;
namespace fs = std::filesystem;

constexpr std::uintmax_t mebibyte = 1 << 20;

void fill(std::ostream& file, std::uintmax_t size) {
  std::string block(mebibyte, '\0');
  std::uint32_t number = 1;
  for (char& byte : block) byte = static_cast<char>((number = number * 1664525 + 1013904223) >> 24);
  for (std::uintmax_t done = 0; done < size; done += block.size()) {
    file.write(block.data(),
               static_cast<std::streamsize>(std::min<std::uintmax_t>(block.size(), size - done)));
  }
}

/// Folders with 100 files in each, of 1 to 8 KiB.
void makeSmallFiles(const fs::path& root) {
  for (int folder = 0; folder < 200; ++folder) {
    const fs::path path = root / std::to_string(folder / 20) / std::to_string(folder % 20);
    fs::create_directories(path);
    for (int i = 0; i < 100; ++i) {
      std::ofstream file(path / ("file-" + std::to_string(i) + ".txt"));
      fill(file, 1024 + static_cast<std::uintmax_t>(i) * 72);
    }
  }
}

void makeMillionEntries(const fs::path& root) {
  for (int folder = 0; folder < 1000; ++folder) {
    const fs::path path = root / std::to_string(folder);
    fs::create_directories(path);
    for (int i = 0; i < 999; ++i) std::ofstream(path / std::to_string(i)) << 'x';
  }
}

void makeLargeFile(const fs::path& path) {
  std::ofstream file(path);
  fill(file, 2048 * mebibyte);
}

/// 8 GiB, of which 160 MiB are there.
void makeFileWithHoles(const fs::path& path) {
  std::ofstream file(path);
  for (const std::uintmax_t start : {1, 50, 800, 3000}) {
    file.seekp(static_cast<std::streamoff>(start * mebibyte));
    fill(file, 40 * mebibyte);
  }
  file.close();
  fs::resize_file(path, 8192 * mebibyte);
}

void makeFileToClone(const fs::path& path) {
  std::ofstream file(path);
  fill(file, 1024 * mebibyte);
}

/// A source, alone on a volume; both go with the program.
class Scene {
public:
  using Make = void (*)(const fs::path&);
  /// That of a row, made when it is first asked for.
  static const Scene& of(const std::string& row, const std::string& format, Make make,
                         std::size_t mebibytes) {
    static std::map<std::string, Scene> scenes;
    return scenes.try_emplace(row, format, make, mebibytes).first->second;
  }

  /// A copy takes about so many.
  Scene(const std::string& format, Make make, std::size_t mebibytes)
      : volume_(format, 10000), mebibytes_(mebibytes) {
    if (!volume_.isMounted()) return;
    make(source());
    settle();
  }

  [[nodiscard]] fs::path source() const { return volume_.path() / "source"; }
  [[nodiscard]] fs::path copy() const { return volume_.path() / "copy"; }

  /// Copies again and again, and times nothing else.
  void run(benchmark::State& state, const auto& copyOnce) const {
    if (!volume_.isMounted()) state.SkipWithError("this machine mounts no such volume");
    for (auto _ : state) {
      benchmarks::makeMemoryReady(mebibytes_);
      const auto start = std::chrono::steady_clock::now();
      copyOnce();
      state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
      if (const double size = allocated(); size > 0) state.counters["MiB"] = size;
      fs::remove_all(copy());
      settle();
    }
  }

private:
  void settle() const {
    const int folder = open(volume_.path().c_str(), O_RDONLY | O_CLOEXEC);
    syncfs(folder);
    close(folder);
  }

  /// Where it is a file.
  [[nodiscard]] double allocated() const {
    struct stat status{};
    if (stat(copy().c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return 0;
    return static_cast<double>(status.st_blocks) / 2048;
  }

  testing::Volume volume_;
  std::size_t mebibytes_;
};

using Clone = XRCopyFileOperation::CloneIfPossible;

/// As an application does it: measured first, with progress, and with a look for a cancellation at each event.
void copyByOperation(benchmark::State& state, const Scene& scene, Clone clone) {
  const auto operation = std::make_shared<XRCopyFileOperation>(scene.source(), scene.copy(), clone);
  operation->start();
  const auto progress = operation->progress();
  if (operation->operationError() || progress->completedUnitCount() != progress->totalUnitCount()) {
    state.SkipWithError("the copy failed");
  }
}

void copyOurs(benchmark::State& state, const Scene& scene) {
  scene.run(state, [&] { copyByOperation(state, scene, Clone::no); });
}

void copyCp(benchmark::State& state, const Scene& scene) {
  scene.run(state, [&] { runProgram(state, {"cp", "-a", scene.source().c_str(), scene.copy().c_str()}); });
}

void copyRsync(benchmark::State& state, const Scene& scene) {
  const std::string content = scene.source().native() + (fs::is_directory(scene.source()) ? "/" : "");
  scene.run(state, [&] { runProgram(state, {"rsync", "-a", content.c_str(), scene.copy().c_str()}); });
}

// Clones, within the process.

void cloneOurs(benchmark::State& state, const Scene& scene) {
  scene.run(state, [&] { copyByOperation(state, scene, Clone::yes); });
}

void cloneBare(benchmark::State& state, const Scene& scene) {
  scene.run(state, [&] {
    const int from = open(scene.source().c_str(), O_RDONLY | O_CLOEXEC);
    const int to = open(scene.copy().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (ioctl(to, FICLONE, from) != 0) state.SkipWithError("not cloned");
    close(to);
    close(from);
  });
}

#ifdef QV_PEER_GIO
void cloneGio(benchmark::State& state, const Scene& scene) {
  scene.run(state, [&] {
    GFile* const from = g_file_new_for_path(scene.source().c_str());
    GFile* const to = g_file_new_for_path(scene.copy().c_str());
    constexpr auto flags =
        static_cast<GFileCopyFlags>(G_FILE_COPY_ALL_METADATA | G_FILE_COPY_NOFOLLOW_SYMLINKS);
    if (g_file_copy(from, to, flags, nullptr, nullptr, nullptr, nullptr) == 0)
      state.SkipWithError("not copied");
    g_object_unref(to);
    g_object_unref(from);
  });
}
#endif

// Memory, for a million entries.

/// The most that a process had since it began, or `forgetMostMemory`, in MiB; 0 once it has ended.
double mostMemory(const std::string& process) {
  std::ifstream status("/proc/" + process + "/status");
  for (std::string word; status >> word;) {
    double kibibytes = 0;
    if (word == "VmHWM:" && status >> kibibytes) return kibibytes / 1024;
  }
  return 0;
}

void forgetMostMemory() { std::ofstream("/proc/self/clear_refs") << 5; }

void memoryOurs(benchmark::State& state, const Scene& scene) {
  scene.run(state, [&] {
    forgetMostMemory();
    copyByOperation(state, scene, Clone::no);
    state.counters["MiB"] = mostMemory("self");
  });
}

// What the system counts for a program that has ended includes the memory of the one that started it.
void memoryOfProgram(benchmark::State& state, const std::vector<const char*>& arguments) {
  const pid_t child = benchmarks::startProgram(arguments);
  int status = -1;
  while (waitpid(child, &status, WNOHANG) == 0) {
    if (const double now = mostMemory(std::to_string(child)); now > 0) state.counters["MiB"] = now;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  if (status != 0) state.SkipWithError("the program failed");
}

void memoryCp(benchmark::State& state, const Scene& scene) {
  scene.run(state,
            [&] { memoryOfProgram(state, {"cp", "-a", scene.source().c_str(), scene.copy().c_str()}); });
}

void memoryRsync(benchmark::State& state, const Scene& scene) {
  const std::string content = scene.source().native() + '/';
  scene.run(state, [&] { memoryOfProgram(state, {"rsync", "-a", content.c_str(), scene.copy().c_str()}); });
}

using Side = void (*)(benchmark::State&, const Scene&);

struct Row {
  std::string name;
  std::string format;
  Scene::Make make;
  std::size_t mebibytes;
};

benchmark::internal::Benchmark* add(const Row& row, const std::string& side, Side run) {
  const std::string name = "copy/" + row.name + '/' + row.format + '/' + side;
  const auto measure = [row, run](benchmark::State& state) {
    run(state, Scene::of(row.name + row.format, row.format, row.make, row.mebibytes));
  };
  return benchmark::RegisterBenchmark(name.c_str(), measure)->UseManualTime()->Unit(benchmark::kMillisecond);
}

const bool areRegistered = [] {
  for (const Row& row :
       {Row{"small-files", "ext4", makeSmallFiles, 400}, Row{"small-files", "tmpfs", makeSmallFiles, 400},
        Row{"large-file", "ext4", makeLargeFile, 3000}, Row{"large-file", "tmpfs", makeLargeFile, 3000},
        Row{"file-with-holes", "ext4", makeFileWithHoles, 400}}) {
    add(row, "ours", copyOurs);
    add(row, "cp", copyCp);
    // It would fill holes, and with them the volume.
    if (row.name != "file-with-holes") add(row, "rsync", copyRsync);
  }
  for (const Row& row :
       {Row{"clone", "btrfs", makeFileToClone, 10}, Row{"clone", "xfs", makeFileToClone, 10}}) {
    add(row, "ours", cloneOurs);
    add(row, "ficlone", cloneBare);
#ifdef QV_PEER_GIO
    add(row, "gio", cloneGio);
#endif
  }
  const Row million{"million-entries", "tmpfs", makeMillionEntries, 10};
  for (const auto& [side, run] :
       {std::pair<const char*, Side>("ours", memoryOurs), {"cp", memoryCp}, {"rsync", memoryRsync}}) {
    add(million, side, run)->Iterations(1)->Repetitions(1);
  }
  return true;
}();

}  // namespace
