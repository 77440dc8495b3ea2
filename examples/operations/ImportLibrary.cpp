#include "ImportLibrary.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <random>
#include <thread>
#include <utility>

#include <QVFoundation/operations/QVProgressUtilities.h>
#include <QVFoundation/platform/text/Format.h>

namespace example {

using namespace QVFoundation;
using namespace std::chrono_literals;

namespace {

constexpr QVProgressSegmentName scanning("scanning"), albums("albums"), sorting("sorting");
constexpr QVProgressSegmentName reading("reading"), checking("checking");

constexpr int tracksPerAlbum = 12;

/// Stands for a disk that takes its time.
void waitForDisk(std::chrono::milliseconds time) { std::this_thread::sleep_for(time); }

/// Reads a track: noise, which is the same each time.
Track readTrack(const std::string& album, int number) {
  waitForDisk(25ms);
  Track track{stringWithFormat("%@ %02d", album, number), std::vector<std::uint32_t>(20'000)};
  std::seed_seq seed(track.title.begin(), track.title.end());
  std::mt19937 noise(seed);
  std::ranges::generate(track.samples, noise);
  return track;
}

template <class Numbers>
std::uint64_t checksumOf(const Numbers& numbers) {
  std::uint64_t sum = 0xcbf29ce484222325;
  for (const std::uint64_t number : numbers) sum = (sum ^ number) * 0x100000001b3;
  return sum;
}

}  // namespace

CheckTracks::CheckTracks(std::vector<Track> tracks)
    : QVOperation("CheckTracks"), tracks_(std::move(tracks)) {}

// It has one part only, so it counts in its own progress and needs no segment.
std::vector<Track> CheckTracks::perform() {
  progress()->setTotalUnitCount(std::ssize(tracks_));
  for (Track& track : tracks_) {
    checkForCancellationAndReturnError();
    updateLocalizedDescription("Checking " + track.title);
    waitForDisk(15ms);
    track.checksum = checksumOf(track.samples);
    incrementCompletedUnitCount(*progress());
  }
  return std::move(tracks_);
}

ImportAlbum::ImportAlbum(const std::string& album) : QVOperation("ImportAlbum") { setName(album); }

void ImportAlbum::calculateSegmentCosts() {
  setCost(60, reading);
  setCost(40, checking);
}

std::vector<Track> ImportAlbum::perform() {
  auto tracks =
      performSegment(reading, tracksPerAlbum, [&](NSProgress& progress) { return readTracks(progress); });
  return performSubOperation(std::make_shared<CheckTracks>(std::move(tracks)), checking);
}

std::vector<Track> ImportAlbum::readTracks(NSProgress& progress) {
  std::vector<Track> tracks;
  tracks.reserve(tracksPerAlbum);
  for (int number = 1; number <= tracksPerAlbum; ++number) {
    checkForCancellationAndReturnError();  // waits here while paused
    tracks.push_back(readTrack(*name(), number));
    updateLocalizedDescription("Reading " + tracks.back().title);
    incrementCompletedUnitCount(progress);
  }
  return tracks;
}

ImportLibrary::ImportLibrary(Library library) : QVOperation("ImportLibrary"), library_(std::move(library)) {
  setName(library_.name);
}

void ImportLibrary::calculateSegmentCosts() {
  setCost(10, scanning);
  setCost(80, albums);
  setCost(10, sorting);
}

Catalogue ImportLibrary::perform() {
  performSegment(scanning, 20, [&](NSProgress& progress) { scan(progress); });
  auto tracks =
      performSegment(albums, std::ssize(library_.albums), [&](NSProgress&) { return importAlbums(); });
  return performSegment(sorting, std::ssize(tracks),
                        [&](NSProgress& progress) { return catalogue(std::move(tracks), progress); });
}

void ImportLibrary::scan(NSProgress& progress) {
  updateLocalizedDescription("Looking for albums");
  for (int folder = 0; folder < progress.totalUnitCount(); ++folder) {
    checkForCancellationAndReturnError();
    waitForDisk(15ms);
    incrementCompletedUnitCount(progress);
  }
}

std::vector<Track> ImportLibrary::importAlbums() {
  std::vector<Track> all;
  for (const std::string& album : library_.albums) {
    checkForCancellationAndReturnError();
    auto tracks = performSubOperation(std::make_shared<ImportAlbum>(album), 1);  // of the segment's units
    std::ranges::move(tracks, std::back_inserter(all));
  }
  return all;
}

Catalogue ImportLibrary::catalogue(std::vector<Track> tracks, NSProgress& progress) {
  updateLocalizedDescription("Sorting");
  std::ranges::sort(tracks, {}, &Track::title);
  std::vector<std::uint64_t> checksums;
  checksums.reserve(tracks.size());
  for (const Track& track : tracks) {
    checkForCancellationAndReturnError();
    waitForDisk(5ms);
    checksums.push_back(track.checksum);
    incrementCompletedUnitCount(progress);
  }
  return {tracks.size(), checksumOf(checksums)};
}

}  // namespace example
