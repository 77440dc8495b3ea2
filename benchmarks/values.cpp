// Conversions between values and their texts.

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>
#ifdef QV_PEER_QT
#include <QString>
#include <QVersionNumber>
#endif

#include "QVFoundation/platform/runtime/NSClass.h"
#include "QVFoundation/values/QVInfoDictionary.h"
#include "QVFoundation/values/QVInfoDictionaryCoding.h"
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

// An object of 20 properties to a dictionary and back, beside code that names each of them.

namespace infoDictionaries {

using namespace QVFoundation;

constexpr std::array<std::string_view, 10> textKeys{"title",    "artist", "album", "composer", "genre",
                                                    "comments", "lyrics", "path",  "label",    "identifier"};
constexpr std::array<std::string_view, 10> numberKeys{
    "rating", "year", "trackNumber", "discNumber", "bpm", "plays", "duration", "size", "bitRate", "color"};

class Track : public NSObject, public QVInfoDictionaryCoding {
public:
  static const NSClass& staticClass() {
    static const NSClass& cls = *new NSClass(definition());
    return cls;
  }
  const NSClass& dynamicClass() const override { return staticClass(); }

  std::vector<std::string> infoDictionaryPropertyKeys() const override {
    std::vector<std::string> keys(textKeys.begin(), textKeys.end());
    keys.insert(keys.end(), numberKeys.begin(), numberKeys.end());
    return keys;
  }

  const std::string& text(std::size_t at) const { return texts_[at]; }
  void setText(std::size_t at, std::string text) {
    const ChangeNotice notice(*this, textKeys[at]);
    texts_[at] = std::move(text);
  }
  int number(std::size_t at) const { return numbers_[at]; }
  void setNumber(std::size_t at, int number) {
    const ChangeNotice notice(*this, numberKeys[at]);
    numbers_[at] = number;
  }

private:
  static NSClassDefinition<Track> definition() {
    auto definition = NSClass::define<Track>("Track", NSObject::staticClass());
    for (std::size_t at = 0; at < textKeys.size(); ++at) {
      std::move(definition)
          .property(
              std::string(textKeys[at]),
              [at](const Track& track) -> const std::string& { return track.text(at); },
              [at](Track& track, std::string text) { track.setText(at, std::move(text)); });
    }
    for (std::size_t at = 0; at < numberKeys.size(); ++at) {
      std::move(definition)
          .property(
              std::string(numberKeys[at]), [at](const Track& track) { return track.number(at); },
              [at](Track& track, int number) { track.setNumber(at, number); });
    }
    return definition;
  }

  std::array<std::string, textKeys.size()> texts_;
  std::array<int, numberKeys.size()> numbers_{};
};

std::shared_ptr<Track> sample() {
  auto track = std::make_shared<Track>();
  for (std::size_t at = 0; at < textKeys.size(); ++at) {
    track->setText(at, at % 2 == 0 ? "Prelude" : "a text that needs memory of its own");
  }
  for (std::size_t at = 0; at < numberKeys.size(); ++at) track->setNumber(at, static_cast<int>(at) * 1000);
  return track;
}

Dictionary writtenByHand(const Track& track) {
  Dictionary properties;
  for (std::size_t at = 0; at < textKeys.size(); ++at) properties.set(textKeys[at], track.text(at));
  for (std::size_t at = 0; at < numberKeys.size(); ++at) properties.set(numberKeys[at], track.number(at));
  Dictionary info;
  info.set("class", "Track");
  info.set("properties", properties);
  return info;
}

std::shared_ptr<Track> readByHand(const Dictionary& info) {
  if (!(info["class"] == "Track")) return nullptr;
  auto track = std::make_shared<Track>();
  const Dictionary properties = info["properties"].dictionary();
  for (std::size_t at = 0; at < textKeys.size(); ++at) {
    if (auto text = properties[textKeys[at]].as<std::string>()) track->setText(at, *std::move(text));
  }
  for (std::size_t at = 0; at < numberKeys.size(); ++at) {
    if (const auto number = properties[numberKeys[at]].as<int>()) track->setNumber(at, *number);
  }
  return track;
}

std::shared_ptr<Track> roundTripOurs(const Track& track) {
  return objectFromInfoDictionary<Track>(infoDictionary(track));
}

std::shared_ptr<Track> roundTripByHand(const Track& track) { return readByHand(writtenByHand(track)); }

template <class RoundTrip>
void roundTrips(benchmark::State& state, const RoundTrip& roundTrip) {
  const auto track = sample();
  for (auto _ : state) benchmark::DoNotOptimize(roundTrip(*track));
}

const bool registered = [] {
  if (infoDictionary(*roundTripOurs(*sample())) != writtenByHand(*roundTripByHand(*sample()))) {
    std::fputs("values: the sides differ for info dictionaries\n", stderr);
    std::abort();
  }
  benchmark::RegisterBenchmark("values/object-of-20-properties/ours",
                               [](benchmark::State& state) { roundTrips(state, roundTripOurs); });
  benchmark::RegisterBenchmark("values/object-of-20-properties/hand-written",
                               [](benchmark::State& state) { roundTrips(state, roundTripByHand); });
  return true;
}();

}  // namespace infoDictionaries
