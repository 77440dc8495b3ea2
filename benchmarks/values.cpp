// Conversions between values and their texts.

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#ifdef QV_PEER_QT
#include <QString>
#include <QVersionNumber>
#endif

#include "QVFoundation/values/QVVersionNumber.h"

// Versions: read from texts and compared, as an updater does.

namespace versions {

using namespace QVFoundation;

/// Installed and offered.
const std::array<std::array<std::string, 2>, 8> pairs{{
    {"2.1.3", "2.1.10"},
    {"10.15.7", "11.0"},
    {"1.0", "1.0.1"},
    {"2.10", "2.9"},
    {"7.4.2.5", "7.4.2.5"},
    {"2026.11.3", "2026.2.14"},
    {"3.0.1", "3.0.1"},
    {"5", "4.99.99"},
}};

/// Runs `call` with one index of a pair after the other.
template <class Call>
void overPairs(benchmark::State& state, const Call& call) {
  std::size_t at = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(call(at));
    at = (at + 1) % pairs.size();
  }
}

int readAndCompareOurs(std::size_t at) {
  const auto installed = QVVersionNumber::versionWithString(pairs[at][0]);
  const auto offered = QVVersionNumber::versionWithString(pairs[at][1]);
  return installed->compare(*offered);
}

void compareOurs(benchmark::State& state) {
  std::vector<std::array<std::shared_ptr<QVVersionNumber>, 2>> read;
  for (const auto& [installed, offered] : pairs)
    read.push_back(
        {QVVersionNumber::versionWithString(installed), QVVersionNumber::versionWithString(offered)});
  overPairs(state, [&](std::size_t at) { return read[at][0]->compare(*read[at][1]); });
}

#ifdef QV_PEER_QT
const std::vector<std::array<QString, 2>> qtTexts = [] {
  std::vector<std::array<QString, 2>> made;
  for (const auto& [installed, offered] : pairs)
    made.push_back({QString::fromStdString(installed), QString::fromStdString(offered)});
  return made;
}();

int readAndCompareQt(std::size_t at) {
  const QVersionNumber installed = QVersionNumber::fromString(qtTexts[at][0]);
  const QVersionNumber offered = QVersionNumber::fromString(qtTexts[at][1]);
  return QVersionNumber::compare(installed, offered);
}

void compareQt(benchmark::State& state) {
  std::vector<std::array<QVersionNumber, 2>> read;
  for (const auto& [installed, offered] : qtTexts)
    read.push_back({QVersionNumber::fromString(installed), QVersionNumber::fromString(offered)});
  overPairs(state, [&](std::size_t at) { return QVersionNumber::compare(read[at][0], read[at][1]); });
}
#endif

const bool registered = [] {
  constexpr auto sign = [](int order) { return (order > 0) - (order < 0); };
  benchmark::RegisterBenchmark("values/versions-read-and-compare/ours",
                               [](benchmark::State& state) { overPairs(state, readAndCompareOurs); });
  benchmark::RegisterBenchmark("values/versions-compare/ours", compareOurs);
#ifdef QV_PEER_QT
  for (std::size_t at = 0; at < pairs.size(); ++at) {
    if (sign(readAndCompareOurs(at)) == sign(readAndCompareQt(at))) continue;
    std::fprintf(stderr, "values: the sides differ for %s\n", pairs[at][0].c_str());
    std::abort();
  }
  benchmark::RegisterBenchmark("values/versions-read-and-compare/qt",
                               [](benchmark::State& state) { overPairs(state, readAndCompareQt); });
  benchmark::RegisterBenchmark("values/versions-compare/qt", compareQt);
#endif
  return true;
}();

}  // namespace versions
