// An error record of three levels, written as JSON and read back.

#include <stdexcept>
#include <string>

#include <benchmark/benchmark.h>

#include "QVFoundation/errors/QVCodableError.h"
#include "QVFoundation/errors/QVJSONDescription.h"

#ifdef QV_PEER_NLOHMANN_JSON
#include <nlohmann/json.hpp>
#endif
#ifdef QV_PEER_BOOST_JSON
#include <boost/json.hpp>
#endif

namespace {

using namespace QVFoundation;

QVCodableError threeLevels() {
  const auto level = [](std::string domain, std::int64_t code, std::string description) {
    QVCodableError::Fields fields;
    fields.domain = std::move(domain);
    fields.code = code;
    fields.errorDescription = std::move(description);
    fields.recoverySuggestion = "Make room on the volume and try again.";
    fields.failureReason = "The volume “Archive” is full.";
    return fields;
  };
  auto outer = level("BackupErrorDomain", 12, "The backup could not be completed.");
  auto middle = level("NSCocoaErrorDomain", 640, "“Letters.txt” could not be written.");
  middle.underlyingError = QVCodableError(level("NSPOSIXErrorDomain", 28, "No space left on device"));
  outer.underlyingError = QVCodableError(std::move(middle));
  return QVCodableError(std::move(outer));
}

const std::string& document() {
  static const std::string text = jsonDescription(threeLevels());
  return text;
}

void roundTripOurs(benchmark::State& state) {
  const QVCodableError record = threeLevels();
  if (!(QVCodableError::errorFromJSONDescription(jsonDescription(record)) == record)) {
    throw std::logic_error("the record does not survive the round trip");
  }
  for (auto _ : state) {
    benchmark::DoNotOptimize(QVCodableError::errorFromJSONDescription(jsonDescription(record)));
  }
}
BENCHMARK(roundTripOurs)->Name("errors/json-round-trip/ours");

// The peers write and read their own document of the same content; they do not check its shape.

#ifdef QV_PEER_NLOHMANN_JSON
void roundTripNlohmann(benchmark::State& state) {
  const auto record = nlohmann::json::parse(document());
  for (auto _ : state) benchmark::DoNotOptimize(nlohmann::json::parse(record.dump(2)));
}
BENCHMARK(roundTripNlohmann)->Name("errors/json-round-trip/nlohmann");
#endif

#ifdef QV_PEER_BOOST_JSON
void roundTripBoost(benchmark::State& state) {
  const auto record = boost::json::parse(document());
  for (auto _ : state) benchmark::DoNotOptimize(boost::json::parse(boost::json::serialize(record)));
}
BENCHMARK(roundTripBoost)->Name("errors/json-round-trip/boost");
#endif

}  // namespace
