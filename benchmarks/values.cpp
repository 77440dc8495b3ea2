// Conversions between values and their texts.

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>
#ifdef __x86_64__
#include <immintrin.h>
#endif

#include <benchmark/benchmark.h>
#ifdef QV_PEER_ABSL
#include <absl/strings/escaping.h>
#endif
#ifdef QV_PEER_QT
#include <QByteArray>
#include <QString>
#include <QVersionNumber>
#endif

#include "QVFoundation/platform/runtime/NSClass.h"
// The loops for processors without AVX2, which the library takes only there.
#include "QVFoundation/values/HexCoding.cpp"
#include "QVFoundation/values/HexCodingWide.cpp"
#include "QVFoundation/values/HexUtils.h"
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

// A megabyte as hexadecimal text, and back.

namespace hex {

using namespace QVFoundation;

constexpr std::size_t size = std::size_t{1} << 20;

const NSData data = [] {
  NSData made(size);
  std::uint32_t state = 1;
  for (std::byte& byte : made) byte = static_cast<std::byte>((state = state * 1664525 + 1013904223) >> 24);
  return made;
}();

const std::string text = hexString(data);

template <class Call>
void measure(benchmark::State& state, const Call& call) {
  for (auto _ : state) benchmark::DoNotOptimize(call());
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
}

/// A peer that gives another result would be compared with another task.
void check(bool isTheSame, const char* side) {
  if (isTheSame) return;
  std::fprintf(stderr, "values: %s converts differently\n", side);
  std::abort();
}

template <class Write, class Read>
void add(const std::string& side, Write write, Read read, const std::string& row = "") {
  benchmark::RegisterBenchmark(("values/hex-write" + row + '/' + side).c_str(),
                               [=](benchmark::State& state) { measure(state, write); });
  benchmark::RegisterBenchmark(("values/hex-read" + row + '/' + side).c_str(),
                               [=](benchmark::State& state) { measure(state, read); });
}

std::string writePortably() {
  std::string made(2 * size, '\0');
  detail::portableHexCoder.encode(data.data(), size, made.data());
  return made;
}

NSData readPortably() {
  NSData made(size);
  if (detail::portableHexCoder.decode(text.data(), size, made.data()) != size) made.clear();
  return made;
}

#ifdef QV_PEER_ABSL
void addAbsl() {
  const static absl::string_view bytes(static_cast<const char*>(static_cast<const void*>(data.data())), size);
  check(absl::HexStringToBytes(text) == bytes, "absl");
  for (const char* row : {"", "-portable"}) {
    add(
        "absl", [] { return absl::BytesToHexString(bytes); }, [] { return absl::HexStringToBytes(text); },
        row);
  }
}
#endif

#ifdef QV_PEER_QT
void addQt() {
  const static auto bytes =
      QByteArray::fromRawData(static_cast<const char*>(static_cast<const void*>(data.data())), size);
  const static QByteArray digits = QByteArray::fromRawData(text.data(), static_cast<qsizetype>(text.size()));
  check(QByteArray::fromHex(digits) == bytes, "qt");
  add("qt", [] { return bytes.toHex(); }, [] { return QByteArray::fromHex(digits); });
}
#endif

#ifdef __x86_64__
/// What a loop over vectors does with memory that is there, for text that is known to be hexadecimal.
namespace plain {

std::string digits(2 * size, '0');
NSData bytes(size);

[[gnu::target("avx2")]] const std::string& write() {
  const __m256i alphabet = _mm256_broadcastsi128_si256(
      _mm_setr_epi8('0', '1', '2', '3', '4', '5', '6', '7', '8', '9', 'A', 'B', 'C', 'D', 'E', 'F'));
  const auto* from = static_cast<const __m128i*>(static_cast<const void*>(data.data()));
  auto* to = static_cast<__m256i*>(static_cast<void*>(digits.data()));
  for (std::size_t at = 0; at < size / 16; ++at) {
    const __m256i wide = _mm256_cvtepu8_epi16(_mm_loadu_si128(from + at));
    const __m256i both = _mm256_or_si256(_mm256_srli_epi16(wide, 4), _mm256_slli_epi16(wide, 8));
    _mm256_storeu_si256(to + at,
                        _mm256_shuffle_epi8(alphabet, _mm256_and_si256(both, _mm256_set1_epi8(0x0F))));
  }
  benchmark::ClobberMemory();
  return digits;
}

[[gnu::target("avx2")]] __m256i pairs(const __m256i* from) {
  const __m256i characters = _mm256_loadu_si256(from);
  const __m256i letters = _mm256_cmpgt_epi8(characters, _mm256_set1_epi8('9'));
  const __m256i nibbles = _mm256_add_epi8(_mm256_and_si256(characters, _mm256_set1_epi8(0x0F)),
                                          _mm256_and_si256(letters, _mm256_set1_epi8(9)));
  return _mm256_maddubs_epi16(nibbles, _mm256_set1_epi16(0x0110));
}

[[gnu::target("avx2")]] const NSData& read() {
  const auto* from = static_cast<const __m256i*>(static_cast<const void*>(text.data()));
  auto* to = static_cast<__m256i*>(static_cast<void*>(bytes.data()));
  for (std::size_t at = 0; at < size / 32; ++at) {
    const __m256i packed = _mm256_packus_epi16(pairs(from + 2 * at), pairs(from + 2 * at + 1));
    _mm256_storeu_si256(to + at, _mm256_permute4x64_epi64(packed, 0b11'01'10'00));
  }
  benchmark::ClobberMemory();
  return bytes;
}

}  // namespace plain

void addPlain() {
  if (__builtin_cpu_supports("avx2") == 0) return;
  check(plain::write() == text && plain::read() == data, "avx2-loop");
  add("avx2-loop", [] { return plain::write().size(); }, [] { return plain::read().size(); });
}
#endif

const bool registered = [] {
  add("ours", [] { return hexString(data); }, [] { return hexStringData(text); });
  check(writePortably() == text && readPortably() == data, "the portable loop");
  add("ours", writePortably, readPortably, "-portable");
#ifdef QV_PEER_ABSL
  addAbsl();
#endif
#ifdef QV_PEER_QT
  addQt();
#endif
#ifdef __x86_64__
  addPlain();
#endif
  return true;
}();

}  // namespace hex
