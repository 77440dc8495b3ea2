#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <QVFoundation/operations/QVOperation.h>

/// Three operations, one within the other: a library is imported album by album, and of each album the tracks
/// are checked once they have been read.
///
/// Threads: those of a `QVOperation`.
namespace example {

struct Track {
  std::string title;
  std::vector<std::uint32_t> samples;
  std::uint64_t checksum = 0;
  friend bool operator==(const Track&, const Track&) = default;
};

/// What is left of a library once it has been imported.
struct Catalogue {
  std::size_t tracks = 0;
  std::uint64_t checksum = 0;  // of all tracks, in the order of their titles
};

struct Library {
  std::string name;
  std::vector<std::string> albums;
};

/// Gives the tracks back, each with its checksum.
class CheckTracks final : public QVFoundation::QVOperation,
                          public QVFoundation::QVSyncOperationProtocol<std::vector<Track>> {
public:
  explicit CheckTracks(std::vector<Track> tracks);
  std::vector<Track> perform() override;

private:
  std::vector<Track> tracks_;
};

/// Reads the tracks of an album and has them checked.
class ImportAlbum final : public QVFoundation::QVOperation,
                          public QVFoundation::QVSyncOperationProtocol<std::vector<Track>> {
public:
  explicit ImportAlbum(const std::string& album);
  void calculateSegmentCosts() override;
  std::vector<Track> perform() override;

private:
  std::vector<Track> readTracks(QVFoundation::NSProgress& progress);
};

/// Imports all albums of a library.
class ImportLibrary final : public QVFoundation::QVOperation,
                            public QVFoundation::QVSyncOperationProtocol<Catalogue> {
public:
  explicit ImportLibrary(Library library);
  void calculateSegmentCosts() override;
  Catalogue perform() override;

private:
  void scan(QVFoundation::NSProgress& progress);
  std::vector<Track> importAlbums();
  Catalogue catalogue(std::vector<Track> tracks, QVFoundation::NSProgress& progress);

  const Library library_;
};

}  // namespace example
