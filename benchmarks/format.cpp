#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include <benchmark/benchmark.h>

#ifdef QV_PEER_SPDLOG
#include <spdlog/fmt/fmt.h>
#endif

#include "QVFoundation/platform/text/Format.h"

// One formatted text a row, as a `std::string`. The peers are snprintf into a buffer on the stack that is
// then copied to a string, and fmt with the same message in its own notation. All sides are checked to print
// the same.

namespace {

std::atomic<std::size_t> allocations;

}  // namespace

// Counts what the formatters allocate.
void* operator new(std::size_t size) {
  allocations.fetch_add(1, std::memory_order_relaxed);
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

template <class... Args>
std::string printed(const char* format, Args... args) {
  std::array<char, 512> buffer;
  const int size = std::snprintf(buffer.data(), buffer.size(), format, args...);
  if (size < 0) std::abort();
  if (static_cast<std::size_t>(size) < buffer.size()) return {buffer.data(), static_cast<std::size_t>(size)};
  std::string large(static_cast<std::size_t>(size), '\0');
  std::snprintf(large.data(), large.size() + 1, format, args...);
  return large;
}

using QVFoundation::stringWithFormat;

// What the compiler must not see through.
int count = 42;
unsigned flags = 0xBEEF;
long long big = -1234567890123456789;
double milliseconds = 12.3456;
double tiny = 6.02214076e-23;
std::string title = "The Well-Tempered Clavier";
const char* folder = "/media/disk/Music";
std::string name = "Jürgen";

struct Row {
  const char* name;
  std::string (*ours)();
  std::string (*snprintf)();
  std::string (*fmt)();
};

#ifdef QV_PEER_SPDLOG
#define QV_FMT(...) [] { return fmt::format(__VA_ARGS__); }
#else
#define QV_FMT(...) nullptr
#endif

const Row rows[] = {
    {"five-arguments",
     [] {
       return stringWithFormat("%d items of %@ in %s took %.3f ms (0x%08x)", count, title, folder,
                               milliseconds, flags);
     },
     [] {
       return printed("%d items of %s in %s took %.3f ms (0x%08x)", count, title.c_str(), folder,
                      milliseconds, flags);
     },
     QV_FMT("{} items of {} in {} took {:.3f} ms (0x{:08x})", count, title, folder, milliseconds, flags)},
    {"message-and-text", [] { return stringWithFormat("The %@ operation was cancelled", title); },
     [] { return printed("The %s operation was cancelled", title.c_str()); },
     QV_FMT("The {} operation was cancelled", title)},
    {"integer", [] { return stringWithFormat("%d", count); }, [] { return printed("%d", count); },
     QV_FMT("{}", count)},
    {"long-integer", [] { return stringWithFormat("%lld", big); }, [] { return printed("%lld", big); },
     QV_FMT("{}", big)},
    {"hexadecimal", [] { return stringWithFormat("%08x", flags); }, [] { return printed("%08x", flags); },
     QV_FMT("{:08x}", flags)},
    {"fixed", [] { return stringWithFormat("%.3f", milliseconds); },
     [] { return printed("%.3f", milliseconds); }, QV_FMT("{:.3f}", milliseconds)},
    {"scientific", [] { return stringWithFormat("%e", tiny); }, [] { return printed("%e", tiny); },
     QV_FMT("{:e}", tiny)},
    {"general", [] { return stringWithFormat("%g", milliseconds); },
     [] { return printed("%g", milliseconds); }, QV_FMT("{:g}", milliseconds)},
    {"padded-text", [] { return stringWithFormat("[%-20s|%20s]", folder, folder); },
     [] { return printed("[%-20s|%20s]", folder, folder); }, QV_FMT("[{:<20}|{:>20}]", folder, folder)},
    {"positional", [] { return stringWithFormat("%2$d of %1$s", folder, count); },
     [] { return printed("%2$d of %1$s", folder, count); }, QV_FMT("{1} of {0}", folder, count)},
};

void runOne(benchmark::State& state, std::string (*format)()) {
  const std::size_t before = allocations.load(std::memory_order_relaxed);
  for (auto _ : state) {
    benchmark::ClobberMemory();
    benchmark::DoNotOptimize(format());
  }
  const std::size_t made = allocations.load(std::memory_order_relaxed) - before;
  state.counters["allocations"] =
      benchmark::Counter(static_cast<double>(made), benchmark::Counter::kAvgIterations);
}

void checkSame(const Row& row, std::string_view peer, const std::string& theirs) {
  if (row.ours() == theirs) return;
  std::fprintf(stderr, "format/%s: ours printed \"%s\", %s \"%s\"\n", row.name, row.ours().c_str(),
               peer.data(), theirs.c_str());
  std::abort();
}

void add(const Row& row, const char* side, std::string (*format)()) {
  benchmark::RegisterBenchmark(("format/" + std::string(row.name) + '/' + side).c_str(), runOne, format);
}

const bool registered = [] {
  for (const Row& row : rows) {
    checkSame(row, "snprintf", row.snprintf());
    add(row, "ours", row.ours);
    add(row, "snprintf", row.snprintf);
    if (row.fmt == nullptr) continue;
    checkSame(row, "fmt", row.fmt());
    add(row, "fmt", row.fmt);
  }
  return true;
}();

}  // namespace
